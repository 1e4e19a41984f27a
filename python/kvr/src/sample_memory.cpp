#include "python/kvr/src/sample_memory.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

namespace py = pybind11;

namespace kvr::python {

namespace {

struct Block {
  std::unique_ptr<std::byte[]> bytes;
  std::size_t size = 0;
};

// Smaller ones the C library has at hand, larger ones take longer to fill than to map.
constexpr std::size_t kSmallest = std::size_t{1} << 16;
constexpr std::size_t kLargest = std::size_t{1} << 24;
constexpr std::size_t kMostBytes = std::size_t{1} << 25;
constexpr std::size_t kMostBlocks = 8;

// Freed blocks, the oldest first. The interpreter's lock keeps threads apart.
class FreedBlocks {
 public:
  FreedBlocks() { blocks_.reserve(kMostBlocks + 1); }

  // A block of at least `size` bytes, a quarter more at most.
  Block take(std::size_t size) {
    const auto fits = [&](const Block& block) {
      return block.size >= size && block.size <= size + size / 4;
    };
    const auto found = std::find_if(blocks_.rbegin(), blocks_.rend(), fits);
    if (found == blocks_.rend()) return {std::unique_ptr<std::byte[]>(new std::byte[size]), size};
    Block taken = std::move(*found);
    bytes_ -= taken.size;
    blocks_.erase(std::next(found).base());
    return taken;
  }

  void give(Block block) noexcept {
    bytes_ += block.size;
    blocks_.push_back(std::move(block));
    while (blocks_.size() > kMostBlocks || bytes_ > kMostBytes) {
      bytes_ -= blocks_.front().size;
      blocks_.erase(blocks_.begin());
    }
  }

 private:
  std::vector<Block> blocks_;
  std::size_t bytes_ = 0;
};

// Never destroyed: arrays may outlive what is destroyed at the end of the process.
FreedBlocks& freedBlocks() {
  static FreedBlocks& freed = *new FreedBlocks;
  return freed;
}

// The bytes of an array; nothing if its memory is not worth keeping.
std::optional<std::size_t> keepableBytes(const py::dtype& type,
                                         const std::vector<py::ssize_t>& shape) {
  auto bytes = static_cast<std::size_t>(type.itemsize());
  for (const py::ssize_t extent : shape)
    if (extent < 0 || __builtin_mul_overflow(bytes, static_cast<std::size_t>(extent), &bytes))
      return std::nullopt;
  if (bytes < kSmallest || bytes > kLargest) return std::nullopt;
  return bytes;
}

}  // namespace

py::array uninitializedArray(const py::dtype& type, const std::vector<py::ssize_t>& shape) {
  const auto bytes = keepableBytes(type, shape);
  if (!bytes) return {type, shape};
  auto block = std::make_unique<Block>(freedBlocks().take(*bytes));
  std::byte* const data = block->bytes.get();
  const py::capsule owner(block.get(), [](void* freed) {
    freedBlocks().give(std::move(*std::unique_ptr<Block>(static_cast<Block*>(freed))));
  });
  static_cast<void>(block.release());
  return {type, shape, data, owner};
}

}  // namespace kvr::python
