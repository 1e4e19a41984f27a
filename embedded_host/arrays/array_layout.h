// What a host array is made of. Private to this folder.
//
//   vrArray -> Block       elements of more than 8 bytes: real part, then imaginary part
//           -> Container   parts of a cell, structure or value object
//           -> Names       field names; class, function and subclass names
//
// All three are counted and shared by copies; a write first makes the array's own. Counts are plain
// numbers: one thread at a time is inside the host. Smaller elements lie in the vrArray itself, so
// that a scalar is one allocation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "embedded_host/arrays/arrays.h"

namespace vormel {

// Header of element storage. Both parts are padded to a multiple of 8 bytes, the padding is zero.
struct alignas(16) Block {
  std::size_t references;
  std::size_t bytes;  // of all that follows

  std::byte* data() noexcept { return reinterpret_cast<std::byte*>(this + 1); }
};

// Header of a list of parts. A null part stands for a 0-by-0 double that nobody has set.
struct Container {
  std::size_t references;
  std::size_t count;

  vrArray** parts() noexcept { return reinterpret_cast<vrArray**>(this + 1); }
};
constexpr std::size_t partSize = sizeof(void*);

struct Names {
  std::size_t references;
  std::string title;  // class of a value object, subclass of an opaque, name of a function
  std::vector<std::string> fields;
  std::uint64_t number = ++lastNumber;  // no two lists have the same

  static inline std::uint64_t lastNumber = 0;
};

}  // namespace vormel

struct vrArray {
  vrArray** link;  // what points to this array on an array list; null if it is on none
  vrArray* next;
  union {
    std::size_t pair[2];  // two dimensions
    std::size_t* list;    // more; the array's own
  };
  union {
    std::byte small[8];  // elements, if `isSmall`
    vormel::Block* block;
    vormel::Container* container;  // null if there are no parts
    vormel::HandleTarget* target;
  };
  union {
    std::byte smallImaginary[8];
    vormel::Names* names;  // may be null
  };
  std::uint32_t dimensionCount;
  std::uint8_t classID;
  bool isSmall : 1;
  bool isComplex : 1;
  bool isPart : 1;          // belongs to another array
  bool isInternalForm : 1;  // kept by a native object
};

namespace vormel {

inline bool hasElements(const vrArray* array) noexcept {
  return array->classID >= vrLOGICAL_CLASS && array->classID <= vrUINT64_CLASS;
}
inline bool hasParts(const vrArray* array) noexcept {
  return array->classID == vrCELL_CLASS || array->classID == vrSTRUCT_CLASS ||
         array->classID == vrOBJECT_CLASS;
}
inline const std::size_t* dimensionsOf(const vrArray* array) noexcept {
  return array->dimensionCount == 2 ? array->pair : array->list;
}
inline std::size_t countOf(const vrArray* array) noexcept {
  const std::size_t* dimensions = dimensionsOf(array);
  std::size_t count = dimensions[0] * dimensions[1];
  for (std::size_t i = 2; i < array->dimensionCount; ++i) count *= dimensions[i];
  return count;
}

// What an unset part reads as.
extern const vrArray unsetPart;

}  // namespace vormel
