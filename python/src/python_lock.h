// The interpreter's lock, for code that may run on a thread of C++ or after the interpreter.
#pragma once

#include "python/src/python_api.h"

namespace vormel::python {

// Holds the lock for as long as it lives; converts to false once the interpreter has ended. Nothing
// of Python may be touched then.
class PythonLock {
 public:
  PythonLock() noexcept : isHeld_(isThreadsAlready()) {
    if (isHeld_ || Py_IsInitialized() == 0) return;
    state_ = PyGILState_Ensure();
    isHeld_ = isTaken_ = true;
  }
  ~PythonLock() {
    if (isTaken_) PyGILState_Release(state_);
  }
  PythonLock(const PythonLock&) = delete;
  PythonLock& operator=(const PythonLock&) = delete;

  explicit operator bool() const noexcept { return isHeld_; }

 private:
  // While the interpreter is ending this is the one thread that runs. PyGILState_Check alone says
  // yes when it has ended.
  static bool isThreadsAlready() noexcept {
    return _PyThreadState_UncheckedGet() != nullptr && PyGILState_Check() != 0;
  }

  bool isHeld_;
  bool isTaken_ = false;
  PyGILState_STATE state_ = PyGILState_UNLOCKED;
};

}  // namespace vormel::python
