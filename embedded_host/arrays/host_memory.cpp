// Host memory: libhu.h. A source of its own, since it is compiled with semantic interposition, so
// that test programs can put their own functions in its place, for calls from within the library
// too.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "kvrntob/host/libhu.h"

// A block of 0 bytes gets one byte, so that null always means exhausted memory.
void* huMalloc(std::size_t size) noexcept { return std::malloc(std::max<std::size_t>(size, 1)); }

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  size = std::max<std::size_t>(size, 1);
  count = std::max<std::size_t>(count, 1);
  if (size > std::numeric_limits<std::size_t>::max() / count) return nullptr;
  // The C library's calloc bypasses its cache of small blocks, which makes it several times slower
  // than malloc and memset for them. Large blocks may come from the system already zeroed.
  constexpr std::size_t small = 1024;
  if (size * count > small) return std::calloc(count, size);
  void* memory = std::malloc(size * count);
  return memory != nullptr ? std::memset(memory, 0, size * count) : nullptr;
}

void huFree(void* pointer) noexcept { std::free(pointer); }
