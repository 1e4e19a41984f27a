#include <algorithm>
#include <cstdlib>
#include <limits>

#include "embedded_host/faults/fault_injection.h"
#include "kvrntob/host/libhu.h"

using vormel::FaultSite;
using vormel::isFaultDue;

// A block of no bytes is one of one byte: null means exhausted memory alone.
void* huMalloc(std::size_t size) noexcept {
  if (isFaultDue(FaultSite::Memory, "huMalloc")) return nullptr;
  return std::malloc(std::max<std::size_t>(size, 1));
}

void* huCalloc(std::size_t size, std::size_t count) noexcept {
  if (isFaultDue(FaultSite::Memory, "huCalloc")) return nullptr;
  size = std::max<std::size_t>(size, 1);
  count = std::max<std::size_t>(count, 1);
  const bool fits = size <= std::numeric_limits<std::size_t>::max() / count;
  return fits ? std::calloc(count, size) : nullptr;
}

void huFree(void* pointer) noexcept { std::free(pointer); }
