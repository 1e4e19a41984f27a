#include "compare/buffer.h"

#include <array>
#include <utility>

#include "compare/numbers.h"

namespace kvr::compare {
namespace {

constexpr std::size_t kMostKept = 32;
constexpr std::size_t kKeptBytes = (kBlock + 8) * sizeof(double);  // some buffers have a few more

struct Kept {
  std::array<std::unique_ptr<std::byte[]>, kMostKept> blocks;
  std::size_t count = 0;
};

thread_local Kept kept;

std::byte* taken() {
  if (kept.count > 0) return kept.blocks[--kept.count].release();
  return new std::byte[kKeptBytes];
}

}  // namespace

Block::Block(std::size_t bytes)
    : bytes_(bytes > kKeptBytes ? new std::byte[bytes]
             : bytes > 0        ? taken()
                                : nullptr,
             GiveBack(bytes <= kKeptBytes)) {}

void Block::GiveBack::operator()(std::byte* bytes) const noexcept {
  std::unique_ptr<std::byte[]> block(bytes);
  if (isKept_ && kept.count < kMostKept) kept.blocks[kept.count++] = std::move(block);
}

}  // namespace kvr::compare
