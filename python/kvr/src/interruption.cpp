#include "python/kvr/src/interruption.h"

namespace kvr::python {

bool Interruption::check() {
  if (stop_.isSet()) return true;
  const auto now = std::chrono::steady_clock::now();
  if (now - checked_ < std::chrono::milliseconds(50)) return false;
  checked_ = now;
  const pybind11::gil_scoped_acquire lock;
  if (PyErr_CheckSignals() == 0) return false;  // in the main thread alone signals are handled
  error_.emplace();
  return true;
}

}  // namespace kvr::python
