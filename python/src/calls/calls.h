// Calls of host methods with Python arguments.
#pragma once

#include <string>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/records.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A whole call, as a method of Python is called: positional arguments, and `nargout` as the only
// keyword that may be in `keywordNames`. A new reference, or null with a Python error set.
PyObject* callMethod(const MethodRecord& method, PyObject* const* arguments, std::size_t count,
                     PyObject* keywordNames) noexcept;

// Runs the constructor of the class: the handle of a new object.
OwnedArray constructObject(ClassRecord& cls, PyObject* arguments, PyObject* keywords);

// A call as the descriptor sees it: of the first method of the name on `target`, a host object, or
// a host class for calls without one. Returns the output count as the body left it, and a list of
// max(nargout, declared outputs) cells: an Array, an int, a bool, or None for a cell that was not
// written. Throws PythonErrorSet.
Ref invokeMethod(PyObject* target, const std::string& name, PyObject* argumentTuple,
                 PyObject* nargout);

}  // namespace vormel::python
