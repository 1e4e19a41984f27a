#include "tests/support/faults.h"

namespace kvr::test {

FaultPlan* FaultPlan::innermost = nullptr;

thread_local bool endsThreadAtFileOperation = false;

FaultPlan::FaultPlan(FaultSite site, std::uint64_t first, FaultRepeat repeat) noexcept
    : outer_(innermost), site_(site), repeat_(repeat), first_(first) {
  innermost = this;
}

FaultPlan::~FaultPlan() { innermost = outer_; }

bool FaultPlan::countAndDecide(FaultSite site, const char* operation) noexcept {
  if (site != site_) return false;
  ++seen_;
  const bool isDue =
      first_ != 0 && (repeat_ == FaultRepeat::Always ? seen_ >= first_ : seen_ == first_);
  if (!isDue) return false;
  ++injected_;
  lastFault_ = operation;
  return true;
}

// Every plan counts, whichever of them makes the operation fail.
bool FaultPlan::decide(FaultSite site, const char* operation) noexcept {
  bool isDue = false;
  for (FaultPlan* plan = innermost; plan != nullptr; plan = plan->outer_) {
    isDue = plan->countAndDecide(site, operation) || isDue;
  }
  return isDue;
}

}  // namespace kvr::test
