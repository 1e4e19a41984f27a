// How an array is written as bytes: CBOR (RFC 8949), deterministic, with typed arrays (RFC 8746).
// docs/variable-files.md describes the form.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "embedded_host/arrays/class_table.h"

namespace vormel {

static_assert(std::endian::native == std::endian::little,
              "elements are written as they are in memory");

// ---- Limits ----

inline constexpr int maxNesting = 400;               // arrays within arrays
inline constexpr std::size_t maxNameSize = 50'000;   // bytes
inline constexpr std::size_t maxDimensions = 7'000;  // of one array

// The bytes of the shortest value: ["cell", [0, 0], []].
inline constexpr std::size_t minValueSize = 10;

// ---- CBOR ----

// The major types in use: the upper three bits of an item's first byte.
enum class Major : std::uint8_t {
  Unsigned = 0,
  ByteString = 2,
  TextString = 3,
  Array = 4,
  Tag = 6
};

// The lower five bits of an item's first byte: the argument itself if it is below `firstWidth`;
// else the argument follows in 1, 2, 4 or 8 bytes, for the four values from `firstWidth` to
// `lastWidth`.
inline constexpr std::uint8_t firstWidth = 24;
inline constexpr std::uint8_t lastWidth = 27;

// The tag of a typed array (RFC 8746, section 2.1) in little-endian order for elements of a class;
// 0 for a class without elements. Logical and character elements count as unsigned integers.
constexpr std::uint64_t elementTag(int classID) noexcept {
  const ClassRow& row = classRow(classID);
  const auto sizePower = static_cast<unsigned>(std::countr_zero(row.elementSize));
  constexpr unsigned typedArray = 0b010'0'0'0'00;
  constexpr unsigned isFloat = 0b1'0'0'00;
  constexpr unsigned isSigned = 0b1'0'00;
  const unsigned isLittleEndian = row.elementSize > 1 ? 0b1'00 : 0;
  switch (row.kind) {
    case ElementKind::None:
      return 0;
    case ElementKind::Float:
      return typedArray | isFloat | isLittleEndian | (sizePower - 1);
    case ElementKind::Signed:
      return typedArray | isSigned | isLittleEndian | sizePower;
    default:
      return typedArray | isLittleEndian | sizePower;
  }
}

// Stands for the class of every value object; the name of its own class follows.
inline constexpr std::string_view objectClass = "object";

// True if every element of a logical array is 0 or 1.
inline bool holdsTruths(const vrArray* array) noexcept {
  const auto* bytes = static_cast<const unsigned char*>(vrGetData(array));
  unsigned all = 0;
  for (std::size_t i = vrGetNumberOfElements(array); i > 0; --i) all |= bytes[i - 1];
  return all <= 1;
}

}  // namespace vormel
