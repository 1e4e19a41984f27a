// Reading host arrays out of bytes. Nothing that the bytes say is taken on trust.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "embedded_host/arrays/arrays.h"

namespace vormel {

// Gives the bytes of a value in their order, window by window.
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

  // No more bytes than this are still to come.
  std::uint64_t most() const noexcept { return window_.size() + mostBeyond_; }

  bool isAtEnd();

 protected:
  // `mostBeyond` bytes at most follow the first window.
  ByteSource(std::span<const std::byte> window, std::uint64_t mostBeyond) noexcept
      : window_(window), mostBeyond_(mostBeyond) {}
  ~ByteSource() = default;

 private:
  // The next bytes, none at the end. The former window's are no longer read. Throws FileFault.
  virtual std::span<const std::byte> nextWindow() = 0;

  void requireWindow();

  std::span<const std::byte> window_;
  std::uint64_t mostBeyond_;
};

// The array that the bytes of the source, all of them, are the value of. What is allocated stays
// below a small multiple of source.most(). Throws FileFault for bytes that no writer gives, and
// ntob::TOBOutOfMemoryException.
OwnedArray readValue(ByteSource& source);

}  // namespace vormel
