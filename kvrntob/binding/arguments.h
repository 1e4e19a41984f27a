// Tests of the arrays that arrive as "any". base/number_reading.h reads what has passed them.
#pragma once

#include "kvrntob/base/number_reading.h"
#include "kvrntob/host/libvr.h"

namespace kvr {

// Classes int8 to uint64.
bool isIntegerClass(const vrArray* array);
bool isCharacterClass(const vrArray* array);
// The class of a structure or of a value object.
bool isStructOrObjectClass(const vrArray* array);

bool isIntegerScalar(const vrArray* array);
bool isNumericScalar(const vrArray* array);

// Fails with NOT_INTEGER_SCALAR(label).
void requireIntegerScalar(const vrArray* array, const char* label);
// Fails with INPUT_MISMATCH("string of characters").
void requireCharacters(const vrArray* array);
// Fail with INPUT_MISMATCH("struct").
void requireStruct(const vrArray* array);
void requireStructOrObject(const vrArray* array);

}  // namespace kvr
