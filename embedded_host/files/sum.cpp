#include "embedded_host/files/sum.h"

#include <xxhash.h>

namespace vormel {

std::uint64_t sumOf(const void* bytes, std::size_t size, std::uint64_t seed) noexcept {
  return XXH3_64bits_withSeed(bytes, size, seed);
}

}  // namespace vormel
