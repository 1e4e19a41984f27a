// Memory for intermediate numbers.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

namespace kvr::compare {

// Memory whose contents are unspecified. Blocks of up to kBlock numbers come from those that the
// thread has used before: a comparison takes some twenty, and of a small pair that was half of the
// time. A thread keeps at most kMostKept blocks, of a quarter of a megabyte together, until it
// ends.
class Block {
 public:
  explicit Block(std::size_t bytes);  // fails with std::bad_alloc

  std::byte* bytes() const { return bytes_.get(); }

 private:
  class GiveBack {
   public:
    explicit GiveBack(bool isKept) : isKept_(isKept) {}
    void operator()(std::byte* bytes) const noexcept;

   private:
    bool isKept_;
  };

  std::unique_ptr<std::byte[], GiveBack> bytes_;
};

// A fixed number of numbers whose values are unspecified until they are written.
template <class T>
class Buffer {
  static_assert(std::is_trivially_default_constructible_v<T> &&
                std::is_trivially_destructible_v<T>);

 public:
  explicit Buffer(std::size_t size)
      : block_(size * sizeof(T)), numbers_(reinterpret_cast<T*>(block_.bytes())) {}

  T* data() { return numbers_; }
  const T* data() const { return numbers_; }
  T& operator[](std::size_t i) { return numbers_[i]; }
  const T& operator[](std::size_t i) const { return numbers_[i]; }

 private:
  Block block_;
  T* numbers_;
};

}  // namespace kvr::compare
