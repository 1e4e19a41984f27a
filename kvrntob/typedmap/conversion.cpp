#include "kvrntob/typedmap/conversion.h"

#include <cmath>
#include <cstring>

#include "kvrntob/base/failure.h"
#include "kvrntob/host/ntob.h"

using kvr::raiseFromMessage;

namespace {

bool isHandle(const vrArray* array) {
  if (vrGetClassID(array) != vrOPAQUE_CLASS) return false;
  const char* subclass = vrGetSubclass(array);
  return subclass != nullptr && std::string_view(subclass) == "handle";
}

}  // namespace

AnyValue AnyValue::store(const vrArray* value) {
  return AnyValue(isHandle(value) ? vrCreateSharedCopyNotOnArrayList(value)
                                  : ntobConvertArrayToInternal(value));
}

AnyValue::~AnyValue() {
  if (stored_ == nullptr) return;
  if (!isHandle(stored_)) ntobConvertArrayToExternalInPlace(stored_);
  vrDestroyArray(stored_);
}

namespace typedmap {

double requireScalar(const vrArray* array, const char* label) {
  const bool isNumeric = vrIsNumeric(array);
  if (!vrIsScalar(array) || (!isNumeric && vrGetClassID(array) != vrLOGICAL_CLASS)) {
    raiseFromMessage(KVR::kvr::TYPE_MISMATCH(label));
  }
  if (isNumeric && vrIsComplex(array)) raiseFromMessage(KVR::kvr::TYPE_MISMATCH(label));
  return vrGetScalar(array);
}

double requireNumber(const vrArray* array, const char* label) {
  const double number = requireScalar(array, label);
  if (std::isnan(number)) raiseFromMessage(KVR::kvr::TYPE_MISMATCH(label));
  return number;
}

bool requireTruth(const vrArray* array, const char* label) {
  requireScalar(array, label);
  return vrGetScalarInt(array) != 0;
}

std::string_view requireCharacters(const vrArray* array, const char* label) {
  if (vrGetClassID(array) != vrCHAR_CLASS) raiseFromMessage(KVR::kvr::TYPE_MISMATCH(label));
  return {static_cast<const char*>(vrGetData(array)), 2 * vrGetNumberOfElements(array)};
}

vrArray* makeScalarArray(int classID, const void* number, std::size_t size) {
  vrArray* array = vrCreateNumericMatrix_730(1, 1, classID, 0);
  if (array != nullptr) std::memcpy(vrGetData(array), number, size);
  return array;
}

vrArray* makeCharacterRow(std::string_view bytes) {
  const std::size_t dimensions[] = {1, bytes.size() / 2};
  vrArray* array = vrCreateCharArray_730(2, dimensions);
  if (!bytes.empty()) std::memcpy(vrGetData(array), bytes.data(), bytes.size());
  return array;
}

}  // namespace typedmap
