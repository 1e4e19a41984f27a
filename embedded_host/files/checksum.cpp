#include "embedded_host/files/checksum.h"

#include <array>
#include <cstring>

namespace vormel {
namespace {

// Words are dealt out to lanes, so that a compiler can sum several at once. The second sum of a
// lane weighs each word by its place.
constexpr std::size_t laneCount = 8;
constexpr std::size_t stripe = laneCount * sizeof(std::uint64_t);
using Lanes = std::array<std::uint64_t, laneCount>;

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
  Lanes sums{};
  Lanes weighed{};
  Lanes words{};
  const auto addWords = [&] {
    for (std::size_t i = 0; i < laneCount; ++i) {
      sums[i] += words[i];
      weighed[i] += sums[i];
    }
  };
  std::size_t left = size;
  for (; left >= stripe; left -= stripe, next += stripe) {
    std::memcpy(words.data(), next, stripe);
    addWords();
  }
  if (left > 0) {
    words = {};
    std::memcpy(words.data(), next, left);
    addWords();
  }
  mix(size);
  for (std::size_t i = 0; i < laneCount; ++i) {
    mix(sums[i]);
    mix(weighed[i]);
  }
}

}  // namespace vormel
