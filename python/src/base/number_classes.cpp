#include "python/src/base/number_classes.h"

#include <array>

namespace vormel::python {
namespace {

using Table = std::array<NumberClass, 11>;

// Made when NumPy has been imported: its types are not known before.
const Table& table() noexcept {
#define VORMEL_ROW(hostClass, Element, Name, kind, type, complexType) \
  NumberClass{hostClass,                                              \
              sizeof(Element),                                        \
              kind,                                                   \
              type,                                                   \
              complexType,                                            \
              &Py##Name##ArrType_Type,                                \
              offsetof(Py##Name##ScalarObject, obval)},
  static const Table made = {VORMEL_NUMBER_CLASSES(VORMEL_ROW)};
#undef VORMEL_ROW
  return made;
}

// The scalar types alone, close together: every value that may be a NumPy scalar is looked up.
const std::array<const PyTypeObject*, 11>& scalarTypes() noexcept {
#define VORMEL_TYPE(hostClass, Element, Name, ...) &Py##Name##ArrType_Type,
  static const std::array<const PyTypeObject*, 11> made = {VORMEL_NUMBER_CLASSES(VORMEL_TYPE)};
#undef VORMEL_TYPE
  return made;
}

#define VORMEL_CHECK(hostClass, Element, Name, ...) \
  static_assert(sizeof(Element) == sizeof(Py##Name##ScalarObject::obval));
VORMEL_NUMBER_CLASSES(VORMEL_CHECK)
#undef VORMEL_CHECK

// Logical comes first, and the numeric classes follow each other from double on.
std::size_t rowOf(int classID) noexcept {
  return classID == vrLOGICAL_CLASS ? 0 : static_cast<std::size_t>(classID - vrDOUBLE_CLASS + 1);
}

}  // namespace

const NumberClass* numberClass(int classID) noexcept {
  const bool isNumeric = classID >= vrDOUBLE_CLASS && classID <= vrUINT64_CLASS;
  return isNumeric || classID == vrLOGICAL_CLASS ? &table()[rowOf(classID)] : nullptr;
}

const NumberClass* numberClassOfScalar(const PyTypeObject* type) noexcept {
  const auto& types = scalarTypes();
  for (std::size_t row = 0; row < types.size(); ++row) {
    if (types[row] == type) return &table()[row];
  }
  return nullptr;
}

int classOfDtype(const PyArray_Descr* dtype) noexcept {
  const auto size = static_cast<std::size_t>(dtype->elsize);
  if (dtype->kind == 'U') return size == sizeof(Py_UCS4) ? vrCHAR_CLASS : vrUNKNOWN_CLASS;
  for (const NumberClass& row : table()) {
    const bool isReal = dtype->kind == row.kind && size == row.size;
    const bool isComplex =
        dtype->kind == 'c' && row.complexType != NPY_NOTYPE && size == 2 * row.size;
    if (isReal || isComplex) return row.classID;
  }
  return vrUNKNOWN_CLASS;
}

}  // namespace vormel::python
