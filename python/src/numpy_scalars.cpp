#include "python/src/numpy_scalars.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "kvrntob/host/libvr.h"

namespace vormel::python {
namespace {

struct Row {
  int classID;
  PyTypeObject* type;
  std::size_t offset;  // of the value in the scalar
  std::size_t size;
};

// Made when NumPy has been imported: its types are not known before.
const std::array<Row, 11>& rows() {
#define ROW(hostClass, Name)                                                     \
  Row {                                                                          \
    hostClass, &Py##Name##ArrType_Type, offsetof(Py##Name##ScalarObject, obval), \
        sizeof(Py##Name##ScalarObject::obval)                                    \
  }
  static const std::array<Row, 11> made = {
      ROW(vrDOUBLE_CLASS, Double), ROW(vrINT32_CLASS, Int32),   ROW(vrSINGLE_CLASS, Float),
      ROW(vrINT64_CLASS, Int64),   ROW(vrUINT32_CLASS, UInt32), ROW(vrUINT64_CLASS, UInt64),
      ROW(vrINT16_CLASS, Int16),   ROW(vrUINT16_CLASS, UInt16), ROW(vrINT8_CLASS, Int8),
      ROW(vrUINT8_CLASS, UInt8),   ROW(vrLOGICAL_CLASS, Bool)};
#undef ROW
  return made;
}

}  // namespace

Ref plainNumpyScalar(int classID, const void* element) {
  const auto isOfClass = [classID](const Row& row) { return row.classID == classID; };
  const Row& row = *std::find_if(rows().begin(), rows().end(), isOfClass);
  Ref scalar = checked(PyObject_New(PyObject, row.type));  // all of it is written here
  std::memcpy(reinterpret_cast<char*>(scalar.ptr()) + row.offset, element, row.size);
  return scalar;
}

std::optional<PlainNumber> plainNumberIn(PyObject* value) {
  for (const Row& row : rows()) {
    if (row.type != Py_TYPE(value)) continue;
    return PlainNumber{row.classID, reinterpret_cast<const char*>(value) + row.offset, row.size};
  }
  return std::nullopt;
}

}  // namespace vormel::python
