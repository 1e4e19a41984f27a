// Host scalars and NumPy scalars of the same class, without an array or a dtype in between:
// displays ask for one number at a time.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/python_api.h"

namespace vormel::python {

// A NumPy scalar of the first element of a real numeric array; null for another array.
Ref plainNumpyScalar(const vrArray* array);

// The 1-by-1 array of a NumPy scalar; empty for what is no real NumPy scalar of a host class, and
// for the few whose type has a twin of another name.
OwnedArray fromPlainNumpyScalar(PyObject* value);

}  // namespace vormel::python
