// Ending a comparison early: because another thread asks for it, or because of Ctrl-C.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <optional>

namespace kvr::python {

// What several comparisons share, so that one call ends them all.
class Stop {
 public:
  void set() { asked_ = true; }
  bool isSet() const { return asked_; }

 private:
  std::atomic<bool> asked_ = false;
};

// What is to be raised instead of the result of one comparison.
class Interruption {
 public:
  explicit Interruption(const Stop& stop) : stop_(stop) {}

  // Whether to stop. Lets Python handle signals, at most every 50 milliseconds.
  bool check();

  // Keeps what a function of Python raised, such as KeyboardInterrupt.
  void keep(const pybind11::error_already_set& error) { error_ = error; }

  // Raises what was kept, if anything was. With the interpreter lock.
  void raise() const {
    if (error_) throw pybind11::error_already_set(*error_);
  }

 private:
  const Stop& stop_;
  std::chrono::steady_clock::time_point checked_ = std::chrono::steady_clock::now();
  std::optional<pybind11::error_already_set> error_;
};

}  // namespace kvr::python
