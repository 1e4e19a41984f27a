// Reading numbers out of host arrays of any class.
//
// An integer is read in one of two ways, which are not interchangeable:
//   readTruncated        the first element as a number, truncated toward zero
//   readFirst32Bits      the first 32 bits of element storage, whatever the class
// The module converts numbers itself, so that the result does not depend on how a host rounds.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

#include "kvrntob/host/libvr.h"

namespace kvr {

// Truncates toward zero. NaN and values outside int32 give -2147483648.
inline std::int32_t truncateToInt32(double value) {
  const bool fits = value > -2147483649.0 && value < 2147483648.0;  // false for NaN
  return fits ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::min();
}

// The first element, truncated: -2147483648 also for an empty array and for one without numbers. A
// character reads as its code, a logical as 0 or 1.
inline std::int32_t readTruncated(const vrArray* array) {
  return truncateToInt32(vrGetScalar(array));
}

// For an array of an integer class with at least one element: the low half of a 64-bit element, and
// of a narrower one what its storage holds beyond it, which is zero past the end.
inline std::int32_t readFirst32Bits(const vrArray* array) {
  std::int32_t word;
  std::memcpy(&word, vrGetData(array), sizeof word);  // storage is 8 bytes long at least
  return word;
}

// True for any number but zero, NaN included.
inline bool readTruth(const vrArray* array) { return vrGetScalar(array) != 0.0; }

}  // namespace kvr
