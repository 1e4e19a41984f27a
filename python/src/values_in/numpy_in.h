// NumPy arrays as host arrays.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A new array of the class of the dtype and of the same shape: 0-d becomes 1-by-1, 1-d one row.
// Dtype U1 gives a character array. Refuses dtypes without a class and masked elements.
OwnedArray toHostFromNumpy(PyArrayObject* source);

}  // namespace vormel::python
