// What a host array consists of, and how its storage is made, shared and copied. Private to this
// folder.
//
//   vrArray -> Block       elements of more than 8 bytes: real part, then imaginary part
//           -> Container   parts of a cell, structure or value object
//           -> Names       field names; class, function and subclass names
//
// All three are reference-counted and shared by copies of an array; a write first gives the array a
// copy of its own. The counts are plain numbers, since one thread at a time is inside the host.
// Elements of up to 8 bytes lie in the vrArray itself, so that a scalar takes one allocation.
//
// Functions that allocate throw ntob::TOBOutOfMemoryException when memory is exhausted.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/class_table.h"
#include "kvrntob/host/ntob.h"

namespace vormel {

// Header of element storage. Both parts are padded to a multiple of 8 bytes, the padding is zero.
struct alignas(16) Block {
  std::size_t references;
  std::size_t bytes;  // of all that follows

  std::byte* data() noexcept { return reinterpret_cast<std::byte*>(this + 1); }
};

// Header of a list of parts. A null part stands for a 0-by-0 double that was never set.
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
  vrArray** link;  // the pointer to this array on an array list; null if it is on none
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

inline bool hasElements(const vrArray* array) noexcept { return isElementClass(array->classID); }
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

// The value of a part that was never set.
extern const vrArray unsetPart;

// ---- Making and sharing ----

// Written by the thread that is inside, read by any: no atomic addition is needed.
extern std::atomic<std::size_t> liveArrays;
inline void countArrays(int made) noexcept {
  liveArrays.store(liveArrays.load(std::memory_order_relaxed) + static_cast<std::size_t>(made),
                   std::memory_order_relaxed);
}

// Destroys the handles whose destruction was deferred (destruction.cpp). For a thread that is
// inside.
void destroyDeferredHandles() noexcept;

// The number of elements of that shape. Throws HostError("ArraySize") for fewer than two
// dimensions, and for more elements of `elementSize` bytes than an address space holds. The test
// leaves out dimensions of 0, so that no product of the others overflows either.
std::size_t checkedCount(std::size_t dimensionCount, const std::size_t* dimensions,
                         std::size_t elementSize);

// A live array of the class and shape, on no array list, real, without storage: numbers are small,
// container and names are null.
vrArray* newArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions);

// A numeric, logical or character array, zero-filled, on no array list.
vrArray* newElementArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                         bool isComplex);

// The same for a real array, but with indeterminate elements, all of which the caller writes. The
// padding is zero.
vrArray* newUnfilledArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions);

// A zero-filled cell, structure or value object that takes over `names`, on no array list.
vrArray* newPartsArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                       Names* names);

// A copy that shares storage, on no array list and in external form.
vrArray* newSharedCopy(const vrArray* array);

// Element storage for `bytes` bytes, a multiple of 8, of which the last 8 are zero and the others
// indeterminate.
Block* newUnfilledBlock(std::size_t bytes);

// Bytes rounded up to whole words of 8.
constexpr std::size_t padded(std::size_t bytes) { return (bytes + 7) / 8 * 8; }

// Gives the array a block or container that it shares with no other array; parts of a copied
// container become shared copies.
void unshare(vrArray* array);

// The same even if nothing is shared: afterwards no element has its old address.
void copyStorage(vrArray* array);

// `fields` is a range of texts.
template <class Fields = std::vector<std::string>>
Names* newNames(const std::string& title, const Fields& fields = {}) {
  try {
    return new Names{1, title, {fields.begin(), fields.end()}};
  } catch (const std::bad_alloc&) {
    throw ntob::TOBOutOfMemoryException();
  }
}
Container* newContainer(std::size_t count);

// Drop one reference; the last one frees.
void releaseNames(Names* names) noexcept;
void releaseBlock(Block* block) noexcept;
void releaseContainer(Container* container) noexcept;

// Element storage of an array that has elements.
const std::byte* elements(const vrArray* array) noexcept;
const std::byte* imaginaryElements(const vrArray* array) noexcept;

}  // namespace vormel
