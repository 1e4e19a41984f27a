#include "embedded_host/functions/trapped_failure.h"

#include <utility>

namespace vormel {
namespace {

std::exception_ptr waiting;

}  // namespace

void setTrappedFailure(std::exception_ptr failure) noexcept { waiting = std::move(failure); }

void forgetTrappedFailure() noexcept {
  if (waiting != nullptr) waiting = nullptr;  // each call ends with this
}

void rethrowTrappedFailure() {
  if (waiting != nullptr) std::rethrow_exception(std::exchange(waiting, nullptr));
}

}  // namespace vormel
