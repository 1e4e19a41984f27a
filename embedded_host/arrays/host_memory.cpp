#include <cstdlib>
#include <limits>

#include "kvrntob/host/libhu.h"

void* huMalloc(std::size_t size) noexcept { return std::malloc(size); }

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  const bool fits = count == 0 || size <= std::numeric_limits<std::size_t>::max() / count;
  return fits ? std::calloc(count, size) : nullptr;
}

void huFree(void* pointer) noexcept { std::free(pointer); }
