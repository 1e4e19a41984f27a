// Python values as host arrays of a class that the caller names.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A new array of the named host class, such as "int8" or "cell". Nothing (None, an empty list) is
// 0-by-0 of every class but function_handle. Lists of lists of equal lengths are arrays of as many
// dimensions. Numbers must fit the class: what is out of range, or not whole where whole numbers
// are asked for, is refused; so is a class that no array is made of by name. Fails as toHost.
OwnedArray toHostOfClass(PyObject* value, const char* className);

}  // namespace vormel::python
