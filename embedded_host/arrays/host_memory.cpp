#include <algorithm>
#include <cstdlib>
#include <limits>

#include "kvrntob/host/libhu.h"

// A block of no bytes is one of one byte: null means exhausted memory alone.
void* huMalloc(std::size_t size) noexcept { return std::malloc(std::max<std::size_t>(size, 1)); }

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  size = std::max<std::size_t>(size, 1);
  count = std::max<std::size_t>(count, 1);
  const bool fits = size <= std::numeric_limits<std::size_t>::max() / count;
  return fits ? std::calloc(count, size) : nullptr;
}

void huFree(void* pointer) noexcept { std::free(pointer); }
