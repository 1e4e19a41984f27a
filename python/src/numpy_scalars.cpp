#include "python/src/numpy_scalars.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "python/src/to_host.h"

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

Ref plainNumpyScalar(const vrArray* array) {
  const int classID = vrGetClassID(array);
  if (classID == vrLOGICAL_CLASS || vrIsComplex(array)) return {};
  for (const Row& row : rows()) {
    if (row.classID != classID) continue;
    Ref scalar = checked(row.type->tp_alloc(row.type, 0));
    std::memcpy(reinterpret_cast<char*>(scalar.ptr()) + row.offset, vrGetData(array), row.size);
    return scalar;
  }
  return {};
}

OwnedArray fromPlainNumpyScalar(PyObject* value) {
  for (const Row& row : rows()) {
    if (row.type != Py_TYPE(value)) continue;
    OwnedArray array = makeNumeric(1, 1, row.classID);
    std::memcpy(vrGetData(array.get()), reinterpret_cast<char*>(value) + row.offset, row.size);
    return array;
  }
  return {};
}

}  // namespace vormel::python
