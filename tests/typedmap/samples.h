// Keys and values of every type that a map can have, by number: native, as the host array that
// names them, and as the host array that a map gives back. Different numbers give different ones,
// but for truth values.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "kvrntob/host/ntob.h"
#include "tests/support/array_builders.h"

namespace kvr::test {

constexpr int kSamples = 24;

template <class T>
inline constexpr int hostClass = vrUNKNOWN_CLASS;
template <class T>
inline constexpr const char* typeName = "any";

#define SAMPLE_TYPE(T, classID, name)          \
  template <>                                  \
  inline constexpr int hostClass<T> = classID; \
  template <>                                  \
  inline constexpr const char* typeName<T> = name;
SAMPLE_TYPE(bool, 3, "logical")
SAMPLE_TYPE(std::string, 4, "char")
SAMPLE_TYPE(double, 6, "double")
SAMPLE_TYPE(float, 7, "single")
SAMPLE_TYPE(std::int8_t, 8, "int8")
SAMPLE_TYPE(std::uint8_t, 9, "uint8")
SAMPLE_TYPE(std::int16_t, 10, "int16")
SAMPLE_TYPE(std::uint16_t, 11, "uint16")
SAMPLE_TYPE(std::int32_t, 12, "int32")
SAMPLE_TYPE(std::uint32_t, 13, "uint32")
SAMPLE_TYPE(std::int64_t, 14, "int64")
SAMPLE_TYPE(std::uint64_t, 15, "uint64")
#undef SAMPLE_TYPE

// The limits of the type, which for 64 bits are the hardest to convert, and small numbers.
template <class T>
T sampleNumber(int number) {
  using Limits = std::numeric_limits<T>;
  if (number == 0) return Limits::lowest();
  if (number == 1) return Limits::has_infinity ? Limits::infinity() : Limits::max();
  return static_cast<T>(number - (Limits::is_signed ? kSamples / 2 : 0));
}

// UTF-8, the first empty, some too long to lie within a string object.
inline std::string sampleText(int number) {
  return number == 0 ? "" : std::string(static_cast<std::size_t>(number), 'x') + "\xc3\xa9";
}

// "any" values of different classes and shapes, empty ones among them.
inline OwnedArray sampleAny(int number) {
  switch (number % 4) {
    case 0:
      return aRow(std::vector<double>(static_cast<std::size_t>(number), 1.5));
    case 1:
      return aText(sampleText(number));
    case 2:
      return anInt32(number);
    default:
      return aStruct({"a", "b"}, {1, static_cast<std::size_t>(number)});
  }
}

// The native form of a host text: its UTF-16 units as bytes.
inline std::string bytesOf(const vrArray* text) {
  return {static_cast<const char*>(vrGetData(text)), 2 * vrGetNumberOfElements(text)};
}

// Stored pointers are plain words to the container: these point at nothing.
template <class T>
T sample(int number) {
  if constexpr (std::is_same_v<T, vrArray*>) {
    static vrArray* const base = reinterpret_cast<vrArray*>(alignof(std::max_align_t));
    return reinterpret_cast<vrArray*>(reinterpret_cast<std::uintptr_t>(base) *
                                      static_cast<std::uintptr_t>(number + 1));
  } else if constexpr (std::is_same_v<T, std::string>) {
    return bytesOf(aText(sampleText(number)).get());
  } else if constexpr (std::is_same_v<T, bool>) {
    return number % 2 != 0;
  } else {
    return sampleNumber<T>(number);
  }
}

template <class T>
OwnedArray sampleArray(int number) {
  if constexpr (std::is_same_v<T, vrArray*>) {
    return sampleAny(number);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return aText(sampleText(number));
  } else {
    return aScalar<T>(hostClass<T>, sample<T>(number));
  }
}

// What a map gives back for sampleArray: an empty text has become a row.
template <class T>
OwnedArray sampleResult(int number) {
  if (std::is_same_v<T, std::string> && number == 0) return someCharacters({1, 0});
  return sampleArray<T>(number);
}

}  // namespace kvr::test
