// Choices read off the bytes of one fuzz input, from its front. Past the end every byte is zero, so
// that each input, the empty one too, means something.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace kvr::fuzz {

class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

  std::size_t left() const { return left_; }

  // Exactly so many bytes.
  std::string take(std::size_t count) {
    std::string bytes(count, '\0');
    const std::size_t there = std::min(count, left_);
    if (there > 0) std::memcpy(bytes.data(), next_, there);
    next_ += there;
    left_ -= there;
    return bytes;
  }

  template <class T>
  T number() {
    T value{};
    const std::size_t there = std::min(sizeof value, left_);
    if (there > 0) std::memcpy(&value, next_, there);
    next_ += there;
    left_ -= there;
    return value;
  }

  // From 0 to `count` - 1, for a count of at most 256.
  int below(int count) { return number<std::uint8_t>() % count; }

  // True once in so many.
  bool onceIn(int times) { return below(times) == times - 1; }

  template <class T>
  const T& oneOf(const std::vector<T>& values) {
    return values[number<std::uint8_t>() % values.size()];
  }

 private:
  const std::uint8_t* next_;
  std::size_t left_;
};

}  // namespace kvr::fuzz
