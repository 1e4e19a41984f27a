// Faults of the ordinary heap: global operator new, replaced by heap_faults.cpp for the whole
// program, the embedded host included.
#pragma once

#include <cstdint>

#include "tests/support/faults.h"

namespace kvr::test {

// As FaultPlan. One at a time.
class HeapPlan {
 public:
  HeapPlan(std::uint64_t first, FaultRepeat repeat) noexcept;
  ~HeapPlan();
  HeapPlan(const HeapPlan&) = delete;
  HeapPlan& operator=(const HeapPlan&) = delete;

  std::uint64_t seen() const noexcept { return seen_; }
  std::uint64_t injected() const noexcept { return injected_; }

  // Called for each allocation while there is a plan.
  bool isDue() noexcept;

 private:
  std::uint64_t first_;
  FaultRepeat repeat_;
  std::uint64_t seen_ = 0;
  std::uint64_t injected_ = 0;
};

}  // namespace kvr::test
