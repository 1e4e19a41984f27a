// Lists of lists as host arrays of numbers, truths or characters.
#pragma once

#include <string>

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A tuple of numbers, or of one-character strs, as one row; one of lists, tuples or one-dimensional
// NumPy arrays, all of one length and to any depth, as an array of as many dimensions, the
// outermost list first. `className` names the class in refusals. Refuses unequal lengths, other
// items, and what cast() refuses.
OwnedArray arrayOfLists(PyObject* tuple, int classID, const std::string& className);

}  // namespace vormel::python
