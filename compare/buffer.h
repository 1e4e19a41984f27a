// Memory for intermediate numbers.
#pragma once

#include <cstddef>
#include <memory>

namespace kvr::compare {

// A fixed number of numbers whose values are unspecified until they are written. A comparison needs
// a dozen of them, and most of a small pair's time would go into filling them with zeros.
template <class T>
class Buffer {
 public:
  explicit Buffer(std::size_t size)
      : numbers_(size == 0 ? nullptr : std::make_unique_for_overwrite<T[]>(size)) {}

  T* data() { return numbers_.get(); }
  const T* data() const { return numbers_.get(); }
  T& operator[](std::size_t i) { return numbers_[i]; }
  const T& operator[](std::size_t i) const { return numbers_[i]; }

 private:
  std::unique_ptr<T[]> numbers_;
};

}  // namespace kvr::compare
