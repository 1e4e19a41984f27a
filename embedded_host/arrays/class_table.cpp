#include "embedded_host/arrays/class_table.h"

namespace vormel {
namespace {

// The predicates compare class numbers, which costs less than a look into the table.
constexpr bool predicatesAgreeWithTable() {
  for (int id = 0; id < static_cast<int>(classTable.size()); ++id) {
    const ElementKind kind = classRow(id).kind;
    const bool isGap = id > vrCHAR_CLASS && id < vrDOUBLE_CLASS;
    if (isElementClass(id) != (kind != ElementKind::None || isGap)) return false;
    if (isNumericClass(id) != (kind >= ElementKind::Float)) return false;
    if (kind == ElementKind::None) continue;
    const std::size_t size =
        visitElementType(id, []<class T>(std::type_identity<T>) { return sizeof(T); });
    if (size != elementSize(id)) return false;
  }
  return true;
}
static_assert(predicatesAgreeWithTable());

}  // namespace

std::string_view nameOfClass(int classID) noexcept { return classRow(classID).name; }

}  // namespace vormel

int vrClassIDFromClassName(const char* name) {
  if (name == nullptr || *name == '\0') return vrUNKNOWN_CLASS;
  for (std::size_t id = 0; id < vormel::classTable.size(); ++id) {
    if (name == vormel::classTable[id].name) return static_cast<int>(id);
  }
  return vrUNKNOWN_CLASS;
}
