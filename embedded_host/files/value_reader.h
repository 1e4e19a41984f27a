// Reading host arrays from bytes. Every length, count and type in the bytes is checked before use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "embedded_host/arrays/arrays.h"

namespace vormel {

// A source of the bytes of a value in order. The bytes arrive in windows, each valid until the
// next.
class ByteSource {
 public:
  // Copies the next bytes. Throws FileFault if there are fewer.
  void read(void* to, std::size_t size);

  std::uint8_t readByte() {
    if (window_.empty()) requireWindow();
    const auto byte = std::to_integer<std::uint8_t>(window_.front());
    window_ = window_.subspan(1);
    return byte;
  }

  // An upper bound for the bytes that are left.
  std::uint64_t maxRemaining() const noexcept { return window_.size() + maxBeyond_; }

  bool isAtEnd();

 protected:
  // At most `maxBeyond` bytes follow the first window.
  ByteSource(std::span<const std::byte> window, std::uint64_t maxBeyond) noexcept
      : window_(window), maxBeyond_(maxBeyond) {}
  ~ByteSource() = default;

 private:
  // The next window, empty at the end; the former one is no longer used. Throws FileFault.
  virtual std::span<const std::byte> nextWindow() = 0;

  void requireWindow();

  std::span<const std::byte> window_;
  std::uint64_t maxBeyond_;
};

// Reads the array that all bytes of the source encode. Allocates at most a small multiple of
// source.maxRemaining() bytes. Throws FileFault for bytes that no writer produces, and
// ntob::TOBOutOfMemoryException.
OwnedArray readValue(ByteSource& source);

}  // namespace vormel
