// A bound on how deep conversions go.
#pragma once

#include "python/src/python_api.h"

namespace vormel::python {

// One step of nesting, counted against Python's recursion limit: what is nested deeper, such as a
// list that holds itself, ends in a RecursionError.
class Nesting {
 public:
  explicit Nesting(const char* where) {
    if (Py_EnterRecursiveCall(where) != 0) throw PythonErrorSet();
  }
  ~Nesting() { Py_LeaveRecursiveCall(); }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
};

}  // namespace vormel::python
