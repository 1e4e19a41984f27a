// Faults of the system calls that reach files: system_faults.cpp puts its own in their places, for
// the whole program, the embedded host included.
#pragma once

#include <cstdint>

namespace kvr::test {

enum class SystemCall : std::uint8_t {
  Open,
  Status,
  Lock,
  Read,
  Write,
  Truncate,
  Sync,
  SqliteMemory  // for a test's allocator, which asks isFaultDue
};

enum class SystemFault : std::uint8_t {
  NoRoom,  // ENOSPC
  Broken,  // EIO
  Short,   // half of the bytes; another call does all of its own
  Killed   // the process ends at once
};

// Call number `first` of the kind fails, counted from 1 and from now on; with `isLasting` all after
// it too. One at a time.
class SystemPlan {
 public:
  SystemPlan(SystemCall call, SystemFault fault, std::uint64_t first, bool isLasting) noexcept;
  ~SystemPlan();
  SystemPlan(const SystemPlan&) = delete;
  SystemPlan& operator=(const SystemPlan&) = delete;

  std::uint64_t injected() const noexcept { return injected_; }
  SystemFault fault() const noexcept { return fault_; }

  // Called for each call while there is a plan.
  bool isDue(SystemCall call) noexcept;

 private:
  SystemCall call_;
  SystemFault fault_;
  std::uint64_t first_;
  bool isLasting_;
  std::uint64_t seen_ = 0;
  std::uint64_t injected_ = 0;
};

// Whether a call that begins now has to fail.
bool isSystemFaultDue(SystemCall call) noexcept;

}  // namespace kvr::test
