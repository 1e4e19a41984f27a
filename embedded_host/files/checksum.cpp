#include "embedded_host/files/checksum.h"

#include <cstring>

namespace vormel {
namespace {

// Words are dealt out to lanes, which are summed side by side. The second sum of a lane weighs each
// word by its place.
constexpr std::size_t laneCount = 8;
constexpr std::size_t stripe = laneCount * sizeof(std::uint64_t);

struct Lanes {
  std::uint64_t sums[laneCount]{};
  std::uint64_t weighed[laneCount]{};
};

// Written so that compilers keep the lanes in registers, as wide ones as the processor has.
#ifdef __x86_64__
[[gnu::target_clones("avx512f", "default")]]
#endif
void addStripes(Lanes& lanes, const std::byte* next, std::size_t count) noexcept {
  Lanes inRegisters = lanes;
  for (; count > 0; --count, next += stripe) {
    std::uint64_t words[laneCount];
    std::memcpy(words, next, stripe);
    for (std::size_t i = 0; i < laneCount; ++i) {
      inRegisters.sums[i] += words[i];
      inRegisters.weighed[i] += inRegisters.sums[i];
    }
  }
  lanes = inRegisters;
}

}  // namespace

void Checksum::mix(std::uint64_t word) noexcept {
  state_ = (state_ ^ word) * 0xD6E8FEB86659FD93U;
  state_ ^= state_ >> 32;
}

void Checksum::add(const void* bytes, std::size_t size) noexcept {
  const auto* next = static_cast<const std::byte*>(bytes);
  for (; size > piece; size -= piece, next += piece) addPiece(next, piece);
  addPiece(next, size);
}

void Checksum::addPiece(const std::byte* next, std::size_t size) noexcept {
  Lanes lanes;
  addStripes(lanes, next, size / stripe);
  if (const std::size_t left = size % stripe; left > 0) {
    std::byte last[stripe]{};
    std::memcpy(last, next + (size - left), left);
    addStripes(lanes, last, 1);
  }
  mix(size);
  for (std::size_t i = 0; i < laneCount; ++i) {
    mix(lanes.sums[i]);
    mix(lanes.weighed[i]);
  }
}

}  // namespace vormel
