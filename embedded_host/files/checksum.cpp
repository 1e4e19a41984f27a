#include "embedded_host/files/checksum.h"

#include <cstring>

namespace vormel {
namespace {

// Words are dealt out to lanes, which are summed side by side, two in a register of any processor.
// The second sum of a lane weighs each word by its place.
constexpr std::size_t laneCount = 8;
constexpr std::size_t stripe = laneCount * sizeof(std::uint64_t);
constexpr std::size_t pairSize = 2 * sizeof(std::uint64_t);
using Pair [[gnu::vector_size(pairSize)]] = std::uint64_t;

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
  Pair sums[laneCount / 2]{};
  Pair weighed[laneCount / 2]{};
  const auto addStripe = [&](const std::byte* bytes) {
    for (std::size_t i = 0; i < laneCount / 2; ++i) {
      Pair words;
      std::memcpy(&words, bytes + i * pairSize, pairSize);
      sums[i] += words;
      weighed[i] += sums[i];
    }
  };
  std::size_t left = size;
  for (; left >= stripe; left -= stripe, next += stripe) addStripe(next);
  if (left > 0) {
    std::byte last[stripe]{};
    std::memcpy(last, next, left);
    addStripe(last);
  }
  mix(size);
  std::uint64_t lanes[2][laneCount];
  std::memcpy(lanes[0], sums, stripe);
  std::memcpy(lanes[1], weighed, stripe);
  for (std::size_t i = 0; i < laneCount; ++i) {
    mix(lanes[0][i]);
    mix(lanes[1][i]);
  }
}

}  // namespace vormel
