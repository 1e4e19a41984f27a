// The C interfaces of Python and NumPy as every file of the extension includes them, and the guards
// that hold references, errors, depth and the interpreter's lock.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <pybind11/pybind11.h>

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL vormel_numpy_api
#ifndef VORMEL_IMPORTS_NUMPY  // one file alone, module.cpp, imports NumPy's functions
#define NO_IMPORT_ARRAY
#endif
#include <numpy/arrayobject.h>
#include <numpy/arrayscalars.h>

namespace vormel::python {

// An owned reference. May be null.
using Ref = pybind11::object;

inline Ref steal(PyObject* object) { return pybind11::reinterpret_steal<Ref>(object); }
inline Ref borrow(PyObject* object) { return pybind11::reinterpret_borrow<Ref>(object); }

// Thrown while a Python error is set, to carry it through C++ to where Python called.
struct PythonErrorSet {};

// Throws PythonErrorSet for a call of Python or NumPy that failed. NumPy has places that set no
// error where memory runs out.
[[noreturn]] inline void passError() {
  if (PyErr_Occurred() == nullptr) PyErr_NoMemory();
  throw PythonErrorSet();
}

// Takes a new reference from Python; throws PythonErrorSet if it is null.
inline Ref checked(PyObject* object) {
  if (object == nullptr) passError();
  return steal(object);
}

// The same for operations that report failure with -1.
inline void checked(int status) {
  if (status < 0) passError();
}

// The items of a list or tuple as a tuple. It stays as it is whatever Python code runs.
inline Ref snapshot(PyObject* sequence) { return checked(PySequence_Tuple(sequence)); }

// One level of nesting, counted against Python's recursion limit: values nested deeper, such as a
// list that holds itself, raise RecursionError.
class Nesting {
 public:
  explicit Nesting(const char* where) {
    if (Py_EnterRecursiveCall(where) != 0) throw PythonErrorSet();
  }
  ~Nesting() { Py_LeaveRecursiveCall(); }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
};

// Holds the interpreter's lock, for code that may run on a thread of C++ or after the interpreter
// has ended. Converts to false once it has ended: nothing of Python may be touched then.
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
