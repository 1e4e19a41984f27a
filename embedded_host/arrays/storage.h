// Making, sharing and un-sharing what arrays are made of. Private to this folder.
//
// Whatever allocates throws ntob::TOBOutOfMemoryException when memory is exhausted.
#pragma once

#include <atomic>
#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "embedded_host/arrays/array_layout.h"
#include "kvrntob/host/ntob.h"

namespace vormel {

// Changed by one thread at a time, read by any: a plain addition does.
extern std::atomic<std::size_t> liveArrays;
inline void countArrays(int made) noexcept {
  liveArrays.store(liveArrays.load(std::memory_order_relaxed) + static_cast<std::size_t>(made),
                   std::memory_order_relaxed);
}

// Ends the handles that were let go of outside of any call. For a thread that is inside.
void endWaitingHandles() noexcept;

// The number of elements of that shape. Throws HostError for fewer than two dimensions, and for
// more elements of `elementSize` bytes than an address space holds (dimensions of 0 left out, so
// that no product of dimensions overflows).
std::size_t checkedCount(std::size_t dimensionCount, const std::size_t* dimensions,
                         std::size_t elementSize);

// A live array of the class and shape, on no array list, real, without storage: numbers are small,
// container and names are null.
vrArray* newArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions);

// A numeric, logical or character array, zero-filled, on no array list.
vrArray* newElementArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                         bool isComplex);

// The same, real, with elements of any value for makers that write all of them; the padding is
// zero.
vrArray* newUnfilledArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions);

// A zero-filled cell, structure or value object that takes over `names`, on no array list.
vrArray* newPartsArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                       Names* names);

// A copy that shares storage, on no array list and in external form.
vrArray* newSharedCopy(const vrArray* array);

// Makes block or container of the array its own; parts of a container become shared copies.
void makeOwn(vrArray* array);

// The same also where nothing is shared: afterwards no byte of it has its old address.
void replaceByCopy(vrArray* array);

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

// Giving up one reference.
void releaseNames(Names* names) noexcept;
void releaseBlock(Block* block) noexcept;
void releaseContainer(Container* container) noexcept;

// Element storage of an array that has elements.
const std::byte* elements(const vrArray* array) noexcept;
const std::byte* imaginaryElements(const vrArray* array) noexcept;

}  // namespace vormel
