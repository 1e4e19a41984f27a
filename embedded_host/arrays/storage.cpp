#include "embedded_host/arrays/storage.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/libhu.h"

namespace vormel {
namespace {

void* required(void* memory) {
  if (memory == nullptr) throw ntob::TOBOutOfMemoryException();
  return memory;
}

// `memory` has room for the header and `bytes` more.
Block* blockIn(void* memory, std::size_t bytes) { return new (memory) Block{1, bytes}; }

Block* copyOf(Block* block) {
  Block* copy = blockIn(required(huMalloc(sizeof(Block) + block->bytes)), block->bytes);
  std::memcpy(copy->data(), block->data(), block->bytes);
  return copy;
}

Container* copyOf(Container* container) {
  Container* copy = newContainer(container->count);
  try {
    for (std::size_t i = 0; i < container->count; ++i) {
      if (const vrArray* part = container->parts()[i]) {
        copy->parts()[i] = newSharedCopy(part);
        copy->parts()[i]->isPart = true;
      }
    }
  } catch (...) {
    releaseContainer(copy);
    throw;
  }
  return copy;
}

}  // namespace

constinit const vrArray unsetPart = []() constexpr {
  vrArray array{};
  array.dimensionCount = 2;
  array.classID = vrDOUBLE_CLASS;
  array.isSmall = true;
  array.isPart = true;
  return array;
}
();

std::size_t checkedCount(std::size_t dimensionCount, const std::size_t* dimensions,
                         std::size_t elementSize) {
  // No product of the dimensions and element size of a matrix this small overflows.
  constexpr std::size_t small = std::size_t{1} << 24;
  if (dimensionCount == 2 && dimensions[0] < small && dimensions[1] < small && elementSize <= 256)
    return dimensions[0] * dimensions[1];
  constexpr std::size_t mostBytes = PTRDIFF_MAX - sizeof(Block) - 16;
  bool possible =
      dimensionCount >= 2 && dimensionCount <= std::numeric_limits<std::uint32_t>::max();
  bool isEmpty = false;
  std::size_t room = mostBytes / elementSize;
  std::size_t count = 1;
  for (std::size_t i = 0; possible && i < dimensionCount; ++i) {
    if (dimensions[i] == 0) {
      isEmpty = true;
      continue;
    }
    possible = dimensions[i] <= room;
    room /= dimensions[i];
    count *= dimensions[i];
  }
  if (!possible) throw HostError("ArraySize", "An array of this size is not possible.");
  return isEmpty ? 0 : count;
}

vrArray* newArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions) {
  auto* array = new (required(huMalloc(sizeof(vrArray)))) vrArray{};
  countArrays(1);
  array->dimensionCount = static_cast<std::uint32_t>(dimensionCount);
  array->classID = static_cast<std::uint8_t>(classID);
  array->isSmall = hasElements(array);
  if (dimensionCount == 2) {
    std::copy_n(dimensions, 2, array->pair);
    return array;
  }
  OwnedArray owned(array);
  const std::size_t bytes = dimensionCount * sizeof(std::size_t);
  array->list = static_cast<std::size_t*>(required(huMalloc(bytes)));
  std::memcpy(array->list, dimensions, bytes);
  return owned.release();
}

Block* newUnfilledBlock(std::size_t bytes) {
  Block* block = blockIn(required(huMalloc(sizeof(Block) + bytes)), bytes);
  constexpr std::size_t word = 8;  // the last one may be padding in part
  std::memset(block->data() + bytes - word, 0, word);
  return block;
}

namespace {

Block* newZeroedBlock(std::size_t bytes) {
  return blockIn(required(huCalloc(1, sizeof(Block) + bytes)), bytes);
}

vrArray* newElements(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                     bool isComplex, Block* (*newBlock)(std::size_t bytes)) {
  const std::size_t bytes = elementSize(classID);
  const std::size_t partBytes =
      padded(bytes * checkedCount(dimensionCount, dimensions, isComplex ? 2 * bytes : bytes));
  OwnedArray array(newArray(classID, dimensionCount, dimensions));
  array.get()->isComplex = isComplex;
  if (partBytes > sizeof(array.get()->small)) {
    array.get()->block = newBlock(isComplex ? 2 * partBytes : partBytes);
    array.get()->isSmall = false;
  }
  return array.release();
}

}  // namespace

vrArray* newElementArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                         bool isComplex) {
  return newElements(classID, dimensionCount, dimensions, isComplex, newZeroedBlock);
}

vrArray* newUnfilledArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions) {
  return newElements(classID, dimensionCount, dimensions, false, newUnfilledBlock);
}

vrArray* newPartsArray(int classID, std::size_t dimensionCount, const std::size_t* dimensions,
                       Names* names) {
  OwnedArray array;
  try {
    const std::size_t fields =
        classID == vrCELL_CLASS ? 1 : (names == nullptr ? 0 : names->fields.size());
    const std::size_t partBytes = partSize * (fields == 0 ? 1 : fields);
    const std::size_t count = checkedCount(dimensionCount, dimensions, partBytes);
    array.reset(newArray(classID, dimensionCount, dimensions));
    if (count * fields > 0) array.get()->container = newContainer(count * fields);
  } catch (...) {
    releaseNames(names);
    throw;
  }
  array.get()->names = names;
  return array.release();
}

vrArray* newSharedCopy(const vrArray* array) {
  vrArray* copy = newArray(array->classID, array->dimensionCount, dimensionsOf(array));
  copy->isComplex = array->isComplex;
  copy->isSmall = array->isSmall;
  std::memcpy(copy->small, array->small, sizeof(copy->small));
  std::memcpy(copy->smallImaginary, array->smallImaginary, sizeof(copy->smallImaginary));
  if (hasElements(array)) {
    if (!copy->isSmall) ++copy->block->references;
    return copy;
  }
  if (copy->names != nullptr) ++copy->names->references;
  if (hasParts(array)) {
    if (copy->container != nullptr) ++copy->container->references;
  } else if (copy->target != nullptr) {
    copy->target->retain();
  }
  return copy;
}

void unshare(vrArray* array) {
  const bool isShared = hasParts(array)
                            ? array->container != nullptr && array->container->references > 1
                            : hasElements(array) && !array->isSmall && array->block->references > 1;
  if (isShared) copyStorage(array);
}

void copyStorage(vrArray* array) {
  if (hasParts(array)) {
    if (array->container == nullptr) return;
    Container* copy = copyOf(array->container);
    releaseContainer(std::exchange(array->container, copy));
  } else if (hasElements(array) && !array->isSmall) {
    Block* copy = copyOf(array->block);
    releaseBlock(std::exchange(array->block, copy));
  }
}

Container* newContainer(std::size_t count) {
  void* memory = required(huCalloc(1, sizeof(Container) + count * partSize));
  return new (memory) Container{1, count};
}

const std::byte* elements(const vrArray* array) noexcept {
  return array->isSmall ? array->small : array->block->data();
}

const std::byte* imaginaryElements(const vrArray* array) noexcept {
  return array->isSmall ? array->smallImaginary : array->block->data() + array->block->bytes / 2;
}

}  // namespace vormel
