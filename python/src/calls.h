// Calls of host methods with Python arguments.
#pragma once

#include <cstdint>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/call_frame.h"
#include "python/src/python_api.h"

namespace vormel::python {

// Sets one input. Numbers and texts go straight into the cells of their types; everything else
// becomes a host array and is converted, or refused, by the host.
void setInput(CallFrame& call, std::size_t position, PyObject* value);

// What a cell holds after the call; None if the body did not write it.
Ref outputValue(CallFrame& call, std::size_t cell);

// The value of the keyword nargout. Refuses what is no integer.
std::int64_t readOutputCount(PyObject* value);

// A whole call, as a method of Python is called: positional arguments, and `nargout` as the only
// keyword that may be in `keywordNames`. A new reference, or null with a Python error set.
PyObject* callMethod(const MethodRecord& method, PyObject* const* arguments, std::size_t count,
                     PyObject* keywordNames) noexcept;

// Runs the constructor of the class: the handle of a new object.
OwnedArray constructObject(ClassRecord& cls, PyObject* arguments, PyObject* keywords);

}  // namespace vormel::python
