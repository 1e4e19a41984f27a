#include "tests/reliability/heap_faults.h"

#include <cstdlib>
#include <new>

namespace kvr::test {
namespace {

HeapPlan* active = nullptr;

}  // namespace

HeapPlan::HeapPlan(std::uint64_t first, FaultRepeat repeat) noexcept
    : first_(first), repeat_(repeat) {
  active = this;
}

HeapPlan::~HeapPlan() { active = nullptr; }

bool HeapPlan::isDue() noexcept {
  ++seen_;
  const bool isDue =
      first_ != 0 && (repeat_ == FaultRepeat::Always ? seen_ >= first_ : seen_ == first_);
  injected_ += isDue ? 1 : 0;
  return isDue;
}

}  // namespace kvr::test

using kvr::test::active;

// All forms, also those that would end in these by themselves: the sanitizer has its own of each.
// They are for the libraries as well; clang++ would hide those that it does not declare by itself.
#pragma GCC visibility push(default)
void* operator new(std::size_t size) {
  void* block = active != nullptr && active->isDue() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }
#pragma GCC visibility pop
