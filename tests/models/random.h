// Random choices that are the same on every machine for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvr::models {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }

  // From 0 to `count` - 1.
  int below(int count) { return static_cast<int>(next() % static_cast<std::uint64_t>(count)); }

  // True so many times in a hundred.
  bool percent(int times) { return below(100) < times; }

  template <class T>
  const T& oneOf(const std::vector<T>& values) {
    return values[next() % values.size()];
  }

 private:
  std::uint64_t state_;
};

}  // namespace kvr::models
