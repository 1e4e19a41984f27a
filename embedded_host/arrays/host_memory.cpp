#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "kvrntob/host/libhu.h"

// A block of no bytes is one of one byte: null means exhausted memory alone.
void* huMalloc(std::size_t size) noexcept { return std::malloc(std::max<std::size_t>(size, 1)); }

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  size = std::max<std::size_t>(size, 1);
  count = std::max<std::size_t>(count, 1);
  if (size > std::numeric_limits<std::size_t>::max() / count) return nullptr;
  // The C library's calloc passes by its cache of small blocks, which makes it several times slower
  // than this for them. Large ones may come from the system, zero already.
  constexpr std::size_t small = 1024;
  if (size * count > small) return std::calloc(count, size);
  void* memory = std::malloc(size * count);
  return memory != nullptr ? std::memset(memory, 0, size * count) : nullptr;
}

void huFree(void* pointer) noexcept { std::free(pointer); }
