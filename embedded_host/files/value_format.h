// How an array is written as bytes: CBOR (RFC 8949), deterministic, with typed arrays (RFC 8746).
// docs/variable-files.md describes the form.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "embedded_host/arrays/arrays.h"

namespace vormel {

static_assert(std::endian::native == std::endian::little, "elements are written as they lie");

// ---- Limits ----

inline constexpr int deepestNesting = 400;            // arrays within arrays
inline constexpr std::size_t longestName = 50'000;    // bytes
inline constexpr std::size_t mostDimensions = 7'000;  // of one array

// No array takes fewer bytes: ["cell", [0, 0], []].
inline constexpr std::size_t leastValueSize = 10;

// ---- CBOR ----

// The major types in use: the upper three bits of an item's first byte.
enum class Major : std::uint8_t {
  Unsigned = 0,
  ByteString = 2,
  TextString = 3,
  Array = 4,
  Tag = 6
};

// Follows the major type: the argument itself if it is below `firstWidth`, else the number of bytes
// that hold it: 1, 2, 4 or 8 for the four values from `firstWidth`.
inline constexpr std::uint8_t firstWidth = 24;
inline constexpr std::uint8_t lastWidth = 27;

// The typed-array tag (RFC 8746, little-endian) of a class with elements; 0 for other classes.
constexpr std::uint64_t elementTag(int classID) noexcept {
  constexpr std::uint8_t tags[] = {
      64, 69,  // logical: uint8; char: uint16
      0,  86, 85, 72, 64, 77, 69, 78, 70, 79, 71,
  };
  return classID >= vrLOGICAL_CLASS && classID <= vrUINT64_CLASS ? tags[classID - vrLOGICAL_CLASS]
                                                                 : 0;
}

// The name of value objects' class in the form; their own class follows.
inline constexpr std::string_view objectClass = "object";

// True if every element of a logical array is 0 or 1.
bool holdsTruths(const vrArray* array) noexcept;

// True for well-formed UTF-8. Such names are text strings, all others byte strings.
bool isUtf8(std::string_view text) noexcept;

}  // namespace vormel
