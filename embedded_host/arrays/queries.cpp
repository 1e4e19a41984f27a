// What an array is, and whether two arrays are equal: queries of libvr.h and arrays.h.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "embedded_host/arrays/storage.h"

using namespace vormel;

int vrGetClassID(const vrArray* array) { return array->classID; }

bool vrIsNumeric(const vrArray* array) { return isNumericClass(array->classID); }

bool vrIsComplex(const vrArray* array) { return array->isComplex; }

bool vrIsEmpty(const vrArray* array) { return countOf(array) == 0; }

bool vrIsScalar(const vrArray* array) { return countOf(array) == 1; }

std::size_t vrGetNumberOfElements(const vrArray* array) { return countOf(array); }

std::size_t vrGetNumberOfDimensions_730(const vrArray* array) { return array->dimensionCount; }

const std::size_t* vrGetDimensions_730(const vrArray* array) { return dimensionsOf(array); }

std::size_t vrGetM(const vrArray* array) { return dimensionsOf(array)[0]; }

std::size_t vrGetN(const vrArray* array) {
  std::size_t columns = 1;
  for (std::size_t i = 1; i < array->dimensionCount; ++i) columns *= dimensionsOf(array)[i];
  return columns;
}

const char* vrGetSubclass(const vrArray* array) {
  const bool isNamed = array->classID == vrOPAQUE_CLASS && array->names != nullptr;
  return isNamed ? array->names->title.c_str() : nullptr;
}

std::size_t vrGetElementSize(const vrArray* array) { return elementSize(array->classID); }

namespace vormel {
namespace {

const std::vector<std::string> none;

}  // namespace

const std::vector<std::string>& fieldNames(const vrArray* array) {
  const bool hasFields = array->classID == vrSTRUCT_CLASS || array->classID == vrOBJECT_CLASS;
  return hasFields && array->names != nullptr ? array->names->fields : none;
}

ArrayFacts factsOf(const vrArray* array) noexcept {
  return {array->classID,         array->isComplex, array->dimensionCount == 2,
          dimensionsOf(array)[0], countOf(array),   hasElements(array) ? elements(array) : nullptr};
}

std::uint64_t fieldNamesNumber(const vrArray* array) noexcept {
  const bool hasFields = array->classID == vrSTRUCT_CLASS || array->classID == vrOBJECT_CLASS;
  return hasFields && array->names != nullptr ? array->names->number : 0;
}

const std::string& functionName(const vrArray* array) {
  static const std::string none;
  return array->classID == vrFUNCTION_CLASS && array->names != nullptr ? array->names->title : none;
}

std::string className(const vrArray* array) {
  if (array->classID == vrOPAQUE_CLASS) {
    return array->names != nullptr ? array->names->title : "opaque";
  }
  if (array->classID == vrOBJECT_CLASS) return array->names->title;
  return std::string(nameOfClass(array->classID));
}

HandleTarget* handleTarget(const vrArray* array, std::size_t index) noexcept {
  if (array == nullptr || array->classID != vrOPAQUE_CLASS || index >= countOf(array)) {
    return nullptr;
  }
  return array->target;
}

bool isInternalForm(const vrArray* array) noexcept { return array->isInternalForm; }

std::string describe(const vrArray* array) {
  if (array == nullptr) return "nothing";
  std::string text = array->isComplex ? "a complex " : "a ";
  text += className(array);
  const std::size_t* dimensions = dimensionsOf(array);
  for (std::size_t i = 0; i < array->dimensionCount; ++i) {
    text += (i == 0 ? " " : "-by-") + std::to_string(dimensions[i]);
  }
  return text;
}

bool isReal(const vrArray* array) noexcept {
  return isNumericClass(array->classID) ? !array->isComplex : array->classID == vrLOGICAL_CLASS;
}

bool isRealScalar(const vrArray* array) noexcept { return isReal(array) && countOf(array) == 1; }

bool isWholeInt32(double value) noexcept {
  return value >= std::numeric_limits<std::int32_t>::min() &&
         value <= std::numeric_limits<std::int32_t>::max() && value == std::trunc(value);
}

// ---- Equality ----

namespace {

using Pair = std::pair<const vrArray*, const vrArray*>;

bool haveEqualNames(const vrArray* a, const vrArray* b) {
  if (a->names == b->names) return true;
  return a->names != nullptr && b->names != nullptr && a->names->title == b->names->title &&
         a->names->fields == b->names->fields;
}

bool haveEqualElements(const vrArray* a, const vrArray* b) {
  const std::size_t bytes = elementSize(a->classID) * countOf(a);
  return std::memcmp(elements(a), elements(b), bytes) == 0 &&
         (!a->isComplex || std::memcmp(imaginaryElements(a), imaginaryElements(b), bytes) == 0);
}

// Compares everything but the parts.
bool areEqualWithoutParts(const vrArray* a, const vrArray* b) {
  if (a->classID != b->classID || a->isComplex != b->isComplex ||
      !std::equal(dimensionsOf(a), dimensionsOf(a) + a->dimensionCount, dimensionsOf(b),
                  dimensionsOf(b) + b->dimensionCount)) {
    return false;
  }
  if (hasElements(a)) return haveEqualElements(a, b);
  return haveEqualNames(a, b) && (hasParts(a) || a->target == b->target);
}

}  // namespace

bool equal(const vrArray* a, const vrArray* b) {
  std::vector<Pair> pending{{a, b}};
  while (!pending.empty()) {
    const auto [left, right] = pending.back();
    pending.pop_back();
    if (left == right) continue;
    if (!areEqualWithoutParts(left, right)) return false;
    if (!hasParts(left) || left->container == right->container) continue;
    for (std::size_t i = 0; i < left->container->count; ++i) {
      const vrArray* part = left->container->parts()[i];
      const vrArray* other = right->container->parts()[i];
      pending.emplace_back(part != nullptr ? part : &unsetPart,
                           other != nullptr ? other : &unsetPart);
    }
  }
  return true;
}

}  // namespace vormel
