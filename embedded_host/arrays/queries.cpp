// libvr: what an array is.
#include <cstring>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/arrays/storage.h"

using namespace vormel;

int vrGetClassID(const vrArray* array) { return array->classID; }

bool vrIsNumeric(const vrArray* array) {
  return array->classID >= vrDOUBLE_CLASS && array->classID <= vrUINT64_CLASS;
}

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

}  // namespace vormel
