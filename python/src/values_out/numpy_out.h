// Host arrays as NumPy arrays and scalars.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A numeric or logical array: read-only, over the host's memory, or a copy if it is complex.
Ref numpyFromHost(OwnedArray array);

// A NumPy scalar of a real numeric class, its value that of the element; without an array or a
// dtype in between, for callers that ask for one number at a time.
Ref numpyScalar(int classID, const void* element);

// A NumPy scalar of the first element of a complex array.
Ref numpyComplexScalar(const vrArray* array);

// A character array as a NumPy array of dtype U1.
Ref numpyCharacters(const vrArray* array);

// A writable NumPy object array of the array's shape, all None.
Ref numpyObjects(const vrArray* array);

}  // namespace vormel::python
