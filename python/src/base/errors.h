// Failures of the host as Python errors.
//
// The classes Error, CallError, MethodError and OutOfMemoryError are written in Python
// (vormel/_errors.py); here they are made and set.
#pragma once

#include <string>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// Fetches the classes. Called once; throws PythonErrorSet.
void loadErrorClasses();

// Sets the Python error for the C++ exception being handled. `function` names the method that ran,
// for failures that do not know it themselves; may be null. Call it in a catch block.
// Exhausted memory is an OutOfMemoryError, wherever it was detected; its cause is the MemoryError
// that Python set, if it did. It is a plain MemoryError where there is no memory for that either.
void setPythonError(const char* function = nullptr) noexcept;

// The same for a failure of the host, at hand.
void setPythonError(const HostException& failure) noexcept;

// Makes sure that the thread can throw (prepareThread). False if there is no memory for it, with
// the Python error set. Call it before anything that may throw.
bool isThreadReady(const char* function = nullptr) noexcept;

// Sets a Python error of a class of Python's own, such as KeyError, and throws PythonErrorSet.
[[noreturn]] void raisePythonError(PyObject* cls, const std::string& text);

// A failed call of a Python callable, on its way through the host with the Python error it carries.
class CallableFailed : public HostError {
 public:
  // Takes over the Python error that is set. `name` is that of the host function.
  explicit CallableFailed(const std::string& name);
  CallableFailed(const CallableFailed& other);
  ~CallableFailed() override;

  PyObject* cause() const noexcept { return cause_.ptr(); }

 private:
  CallableFailed(const std::string& name, Ref cause);

  Ref cause_;
};

// The result of a call as Python is to see it: `result`, unless a callable that the host called in
// between was interrupted, that is, raised something other than an Exception (KeyboardInterrupt,
// SystemExit). Then the interruption is set again, whatever the module made of it; `result` and any
// error that is set are dropped, and null is returned.
PyObject* interruptedInstead(PyObject* result) noexcept;

// Runs `body` and returns what it returns, or `failed` with a Python error set.
template <class Result, class Body>
Result guarded(Result failed, const Body& body) noexcept {
  if (!isThreadReady()) return failed;
  try {
    return body();
  } catch (...) {
    setPythonError();
    return failed;
  }
}

}  // namespace vormel::python
