#include "kvrntob/binding/arguments.h"

#include "kvrntob/base/failure.h"

namespace kvr {

bool isIntegerClass(const vrArray* array) {
  const int cls = vrGetClassID(array);
  return cls >= vrINT8_CLASS && cls <= vrUINT64_CLASS;
}

bool isCharacterClass(const vrArray* array) { return vrGetClassID(array) == vrCHAR_CLASS; }

bool isStructOrObjectClass(const vrArray* array) {
  const int cls = vrGetClassID(array);
  return cls == vrSTRUCT_CLASS || cls == vrOBJECT_CLASS;
}

bool isIntegerScalar(const vrArray* array) { return isIntegerClass(array) && vrIsScalar(array); }

bool isNumericScalar(const vrArray* array) { return vrIsNumeric(array) && vrIsScalar(array); }

void requireIntegerScalar(const vrArray* array, const char* label) {
  if (!isIntegerScalar(array)) raiseFromMessage(KVR::kvr::NOT_INTEGER_SCALAR(label));
}

void requireCharacters(const vrArray* array) {
  if (!isCharacterClass(array)) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("string of characters"));
}

void requireStruct(const vrArray* array) {
  if (vrGetClassID(array) != vrSTRUCT_CLASS) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

void requireStructOrObject(const vrArray* array) {
  if (!isStructOrObjectClass(array)) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

}  // namespace kvr
