#include "python/src/values_in/refusals.h"

#include <datetime.h>

#include "embedded_host/messages/host_exception.h"

namespace vormel::python {
namespace {

const char* hintForTime(TimeKind kind) {
  switch (kind) {
    case TimeKind::Date:
      return "pass a number, such as seconds since a start: (time - start).total_seconds()";
    case TimeKind::TimeOfDay:
      return "pass a number, such as seconds since midnight: "
             "60 * (60 * time.hour + time.minute) + time.second";
    default:
      return "pass a number, such as seconds: value.total_seconds()";
  }
}

std::string hintForValue(PyObject* value) {
  if (PyBytes_Check(value) || PyByteArray_Check(value)) {
    return "decode it to a str, or pass np.frombuffer(value, np.uint8)";
  }
  importDatetime();
  const TimeKind kind = timeKindOf(value);
  if (kind != TimeKind::None) return hintForTime(kind);
  if (Py_TYPE(value)->tp_iter != nullptr) return "pass list(value)";
  if (PyCallable_Check(value) != 0) return "vormel.function_handle(name) makes a function handle";
  return "";
}

}  // namespace

void refuse(const std::string& what, const std::string& hint) {
  throw CallRefused("NotConvertible", hint.empty() ? what : what + "; " + hint);
}

void refuseValue(PyObject* value) {
  refuse(
      std::string("a value of the Python class ") + Py_TYPE(value)->tp_name + " has no host array",
      hintForValue(value));
}

void importDatetime() {
  if (PyDateTimeAPI == nullptr) PyDateTime_IMPORT;
  if (PyDateTimeAPI == nullptr) throw PythonErrorSet();
}

TimeKind timeKindOf(PyObject* value) {
  if (PyDate_Check(value)) return TimeKind::Date;
  if (PyTime_Check(value)) return TimeKind::TimeOfDay;
  return PyDelta_Check(value) ? TimeKind::Duration : TimeKind::None;
}

}  // namespace vormel::python
