// Tests of the arrays that arrive as "any". base/number_reading.h reads what has passed them.
#pragma once

#include "kvrntob/base/failure.h"
#include "kvrntob/base/number_reading.h"
#include "kvrntob/host/libvr.h"

namespace kvr {

// Classes int8 to uint64.
inline bool isIntegerClass(const vrArray* array) {
  const int cls = vrGetClassID(array);
  return cls >= vrINT8_CLASS && cls <= vrUINT64_CLASS;
}

inline bool isCharacterClass(const vrArray* array) { return vrGetClassID(array) == vrCHAR_CLASS; }

// The class of a structure or of a value object.
inline bool isStructOrObjectClass(const vrArray* array) {
  const int cls = vrGetClassID(array);
  return cls == vrSTRUCT_CLASS || cls == vrOBJECT_CLASS;
}

inline bool isIntegerScalar(const vrArray* array) {
  return isIntegerClass(array) && vrIsScalar(array);
}

inline bool isNumericScalar(const vrArray* array) {
  return vrIsNumeric(array) && vrIsScalar(array);
}

// Fails with NOT_INTEGER_SCALAR(label).
inline void requireIntegerScalar(const vrArray* array, const char* label) {
  if (!isIntegerScalar(array)) raiseFromMessage(KVR::kvr::NOT_INTEGER_SCALAR(label));
}

// Fails with INPUT_MISMATCH("string of characters").
inline void requireCharacters(const vrArray* array) {
  if (!isCharacterClass(array)) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("string of characters"));
}

// Fails with INPUT_MISMATCH("struct").
inline void requireStruct(const vrArray* array) {
  if (vrGetClassID(array) != vrSTRUCT_CLASS) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

// Fails with INPUT_MISMATCH("struct").
inline void requireStructOrObject(const vrArray* array) {
  if (!isStructOrObjectClass(array)) raiseFromMessage(KVR::kvr::INPUT_MISMATCH("struct"));
}

}  // namespace kvr
