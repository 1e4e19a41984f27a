// Refusals of Python values that have no host array. Each says what to pass instead, where that is
// known, and throws CallRefused("NotConvertible").
#pragma once

#include <string>

#include "python/src/base/python_api.h"

namespace vormel::python {

// "`what`; `hint`", or `what` alone for an empty hint.
[[noreturn]] void refuse(const std::string& what, const std::string& hint);

// A value of a Python class that the host has nothing for.
[[noreturn]] void refuseValue(PyObject* value);

// Dates, times and durations of Python's own, subclasses included (a pandas Timestamp is a Date).
enum class TimeKind {
  None,
  Date,  // with or without a time of the day
  TimeOfDay,
  Duration
};

// Makes timeKindOf ready. May run Python code. Throws PythonErrorSet.
void importDatetime();

// Runs no Python code. After importDatetime().
TimeKind timeKindOf(PyObject* value);

}  // namespace vormel::python
