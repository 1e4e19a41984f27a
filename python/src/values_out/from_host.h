// Host arrays as Python values.
//
//   logical 1-by-1                    bool
//   numeric 1-by-1                    NumPy scalar
//   other numeric or logical          NumPy array over the host's memory: Fortran order, read-only;
//                                     its base is the vormel.Array that keeps the memory. Complex
//                                     arrays are copied, for the host keeps their parts apart.
//   character row or empty            str
//   other characters                  NumPy array of dtype U1
//   structure 1-by-1, other           dict, list of dict in storage order
//   cell row, other                   list, NumPy object array
//   value object 1-by-1, row, other   vormel.Object, list of them, NumPy object array of them
//   object handle                     the Python object that stands for the host object
//   function handle, other opaque     vormel.Array
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// Takes over the array. Throws PythonErrorSet, and what the host throws.
Ref fromHost(OwnedArray array);

// The same for an array that stays where it is. What the result keeps of it is a shared copy.
Ref fromHost(const vrArray* array);

// The array as a NumPy array of its shape, whatever its class: numbers and truths over the host's
// memory as above, characters of dtype U1, and everything else of dtype object, its elements as
// Python values.
Ref numpyArrayOf(const vrArray* array);

}  // namespace vormel::python
