// Host classes and NumPy dtypes, both ways.
#pragma once

#include "kvrntob/host/libvr.h"
#include "python/src/python_api.h"

namespace vormel::python {

// The host class of a dtype; 0 for a dtype that has none (float16, longdouble, object, dates, ...).
int classOfDtype(const PyArray_Descr* dtype);

// The NumPy type number of a numeric or logical class, -1 for any other.
int numpyTypeOf(int classID, bool isComplex);

}  // namespace vormel::python
