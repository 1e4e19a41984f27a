// The classes of host arrays: one table of what a class number means. Whatever depends on the class
// of an array, in this library or in the Python extension, reads it here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

// What the elements of a class are. Classes of kind None hold other arrays, a name or an object.
enum class ElementKind : std::uint8_t {
  None,
  Logical,
  Character,
  Float,
  Signed,
  Unsigned
};

struct ClassRow {
  std::string_view name;  // empty for a class without a name of its own
  ElementKind kind;
  std::uint8_t elementSize;  // bytes; 8 for classes of kind None
};

// By class number.
inline constexpr std::array<ClassRow, 19> classTable = {{
    {"", ElementKind::None, 8},  // no class
    {"cell", ElementKind::None, 8},
    {"struct", ElementKind::None, 8},
    {"logical", ElementKind::Logical, 1},
    {"char", ElementKind::Character, 2},  // a UTF-16 unit
    {"", ElementKind::None, 8},           // no class
    {"double", ElementKind::Float, 8},
    {"single", ElementKind::Float, 4},
    {"int8", ElementKind::Signed, 1},
    {"uint8", ElementKind::Unsigned, 1},
    {"int16", ElementKind::Signed, 2},
    {"uint16", ElementKind::Unsigned, 2},
    {"int32", ElementKind::Signed, 4},
    {"uint32", ElementKind::Unsigned, 4},
    {"int64", ElementKind::Signed, 8},
    {"uint64", ElementKind::Unsigned, 8},
    {"function_handle", ElementKind::None, 8},
    {"", ElementKind::None, 8},  // opaque: named by its subclass
    {"", ElementKind::None, 8},  // value object: named by its own class
}};

// The row of a class number of libvr.h.
constexpr const ClassRow& classRow(int classID) noexcept {
  return classTable[static_cast<std::size_t>(classID)];
}

// Logical, character and numeric classes.
constexpr bool isElementClass(int classID) noexcept {
  return classID >= vrLOGICAL_CLASS && classID <= vrUINT64_CLASS;
}

// The classes whose arrays can be complex.
constexpr bool isNumericClass(int classID) noexcept {
  return classID >= vrDOUBLE_CLASS && classID <= vrUINT64_CLASS;
}

// Bytes of one element of a class with elements; 8 for all others.
constexpr std::size_t elementSize(int classID) noexcept { return classRow(classID).elementSize; }

// Empty for a class without a name of its own: opaque, value object, or no class at all.
VORMEL_HOST_API std::string_view nameOfClass(int classID) noexcept;

// Calls visit(std::type_identity<T>()) with the type of the elements of a class that has elements:
// double, float, std::int8_t to std::uint64_t; std::uint8_t for logical and std::uint16_t for
// character arrays. Returns what `visit` returns, which must be one type for all.
template <class Visit>
constexpr decltype(auto) visitElementType(int classID, Visit&& visit) {
  switch (classID) {
    case vrDOUBLE_CLASS:
      return visit(std::type_identity<double>());
    case vrSINGLE_CLASS:
      return visit(std::type_identity<float>());
    case vrINT8_CLASS:
      return visit(std::type_identity<std::int8_t>());
    case vrLOGICAL_CLASS:
    case vrUINT8_CLASS:
      return visit(std::type_identity<std::uint8_t>());
    case vrINT16_CLASS:
      return visit(std::type_identity<std::int16_t>());
    case vrCHAR_CLASS:
    case vrUINT16_CLASS:
      return visit(std::type_identity<std::uint16_t>());
    case vrINT32_CLASS:
      return visit(std::type_identity<std::int32_t>());
    case vrUINT32_CLASS:
      return visit(std::type_identity<std::uint32_t>());
    case vrINT64_CLASS:
      return visit(std::type_identity<std::int64_t>());
    default:
      return visit(std::type_identity<std::uint64_t>());
  }
}

}  // namespace vormel
