// Tests and readers of the arrays that arrive as "any".
//
// An integer is read in one of two ways, which are not interchangeable:
//   readValue    the first element as a number, truncated toward zero
//   readStorage  the first 32 bits of element storage, whatever the class
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kvrntob/host/libvr.h"

namespace kvr {

// Classes int8 to uint64.
bool isIntegerClass(const vrArray* array);
bool isCharacterClass(const vrArray* array);
// The class of a structure or of a value object.
bool isStructOrObjectClass(const vrArray* array);

bool isIntegerScalar(const vrArray* array);
bool isNumericScalar(const vrArray* array);

// NaN and values outside int32 give -2147483648.
inline std::int32_t readValue(const vrArray* array) { return vrGetScalarInt(array); }

// Of an array of an integer class with at least one element. The low half of a 64-bit element;
// storage beyond a narrow one reads as zero.
std::int32_t readStorage(const vrArray* array);

// Any number but zero, NaN included.
inline bool readTruth(const vrArray* array) { return vrGetScalar(array) != 0.0; }

// Fail with NOT_INTEGER_SCALAR(label), INPUT_MISMATCH("string of characters") and
// INPUT_MISMATCH("struct").
void requireIntegerScalar(const vrArray* array, const char* label);
void requireCharacters(const vrArray* array);
void requireStruct(const vrArray* array);
void requireStructOrObject(const vrArray* array);

}  // namespace kvr
