// Host scalars and NumPy scalars of the same class, without an array or a dtype in between:
// displays ask for one number at a time.
#pragma once

#include <cstddef>
#include <optional>

#include "python/src/python_api.h"

namespace vormel::python {

// A NumPy scalar of a numeric class, its value that of the element.
Ref plainNumpyScalar(int classID, const void* element);

// The number in a NumPy scalar of a host class, as its bytes.
struct PlainNumber {
  int classID;
  const void* bytes;
  std::size_t size;
};

// Nothing for what is no real NumPy scalar of a host class, and for the few whose type has a twin
// of another name.
std::optional<PlainNumber> plainNumberIn(PyObject* value);

}  // namespace vormel::python
