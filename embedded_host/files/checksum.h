// A sum over the elements of a variable that shows damage. It keeps pace with memory, and sees any
// change within one 8-byte word for certain and any other with all but one chance in 2^64. It is no
// protection against a forger.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vormel {

class Checksum {
 public:
  // Adding bytes in pieces of this size gives what adding them at once gives: a reader can add each
  // piece while it is at hand.
  static constexpr std::size_t piece = 1 << 18;

  void add(const void* bytes, std::size_t size) noexcept;
  std::uint64_t value() const noexcept { return state_; }

 private:
  void addPiece(const std::byte* next, std::size_t size) noexcept;
  void mix(std::uint64_t word) noexcept;

  std::uint64_t state_ = 0x9E3779B97F4A7C15U;
};

}  // namespace vormel
