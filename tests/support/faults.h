// Faults on purpose, for tests of what becomes of a call when the host lets it down.
//
//   FaultPlan plan(FaultSite::Memory, 3);                        // the third from now on, once
//   FaultPlan plan(FaultSite::FileOperation, 1, FaultRepeat::Always);  // the first and all later
//   FaultPlan plan(FaultSite::HostFunction, 0);                  // none; counts alone
//   ...
//   plan.seen(); plan.injected(); plan.lastFault();
//
// A faulty operation fails as it would by itself: memory is null, a file cannot be opened, a
// variable cannot be written or read, a host function throws HostError("InjectedFault"). A file is
// closed all the same.
//
// The operations of a program that links kvr_test_faults take the place of the host's
// (faulty_operations.cpp), for the program, the host and the modules that it loads alike.
#pragma once

#include <cstdint>

namespace kvr::test {

enum class FaultSite : std::uint8_t {
  Memory,         // huMalloc and huCalloc, and with them every array
  FileOperation,  // vfOpen, vfPutVariable, vfGetVariable, vfClose
  HostFunction    // each call of a host function by a module, under its name
};

enum class FaultRepeat : std::uint8_t {
  Once,
  Always  // from the first fault on
};

// Holds for as long as it lives. Plans for different sites may hold at one time; lives must nest.
class FaultPlan {
 public:
  // Makes operation number `first` fail, counted from 1 and from now on; 0 lets none fail.
  FaultPlan(FaultSite site, std::uint64_t first, FaultRepeat repeat = FaultRepeat::Once) noexcept;
  ~FaultPlan();
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  // Operations at the site since the plan was made, faulty ones included.
  std::uint64_t seen() const noexcept { return seen_; }
  std::uint64_t injected() const noexcept { return injected_; }

  // The operation that failed last, such as "vfOpen" or "tempdir"; "" before the first.
  const char* lastFault() const noexcept { return lastFault_; }

 private:
  friend bool isFaultDue(FaultSite site, const char* operation) noexcept;

  bool countAndDecide(FaultSite site, const char* operation) noexcept;
  static bool decide(FaultSite site, const char* operation) noexcept;
  static FaultPlan* innermost;

  FaultPlan* outer_;
  FaultSite site_;
  FaultRepeat repeat_;
  std::uint64_t first_;
  std::uint64_t seen_ = 0;
  std::uint64_t injected_ = 0;
  const char* lastFault_ = "";
};

// Whether the operation that is about to begin has to fail. Its name lives as long as the process.
// While there is no plan this is one comparison.
inline bool isFaultDue(FaultSite site, const char* operation) noexcept {
  return FaultPlan::innermost != nullptr && FaultPlan::decide(site, operation);
}

// The thread's next file operation ends the thread, as pthread_exit does.
extern thread_local bool endsThreadAtFileOperation;

}  // namespace kvr::test
