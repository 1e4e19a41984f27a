#include "python/src/calls.h"

#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/errors.h"
#include "python/src/from_host.h"
#include "python/src/host_value.h"
#include "python/src/numpy_scalars.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

// ---- Straight into a cell; false if the value has to go through a host array ----

bool setInt32(CallFrame& call, std::size_t position, PyObject* value) {
  if (!PyLong_CheckExact(value)) return false;
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(value, &overflow);
  if (overflow != 0 || number < std::numeric_limits<std::int32_t>::min() ||
      number > std::numeric_limits<std::int32_t>::max()) {
    return false;
  }
  call.setInt32(position, static_cast<std::int32_t>(number));
  return true;
}

bool setDouble(CallFrame& call, std::size_t position, PyObject* value) {
  if (!PyFloat_CheckExact(value)) return false;
  call.setDouble(position, PyFloat_AS_DOUBLE(value));
  return true;
}

bool setLogical(CallFrame& call, std::size_t position, PyObject* value) {
  if (!PyBool_Check(value)) return false;
  call.setLogical(position, value == Py_True);
  return true;
}

// What most arguments of type Any are: made in the frame of the call.
bool setAny(CallFrame& call, std::size_t position, PyObject* value) {
  if (PyUnicode_CheckExact(value)) {
    const std::size_t count = unitCount(value);
    void* units = call.makeInput(position, vrCHAR_CLASS, count == 0 ? 0 : 1, count);
    writeUnits(value, static_cast<char16_t*>(units));
    return true;
  }
  const auto number = plainNumberIn(value);
  if (number)
    std::memcpy(call.makeInput(position, number->classID, 1, 1), number->bytes, number->size);
  return number.has_value();
}

// The str keeps its UTF-8 form, and the caller keeps the str.
bool setText(CallFrame& call, std::size_t position, PyObject* value) {
  if (!PyUnicode_Check(value)) return false;
  Py_ssize_t length = 0;
  const char* text = PyUnicode_AsUTF8AndSize(value, &length);
  // A lone surrogate: the host has its own way with it.
  if (text == nullptr && cannotBeEncoded()) return false;
  if (std::strlen(text) != static_cast<std::size_t>(length)) return false;
  call.setBorrowedText(position, text);
  return true;
}

bool setDirectly(CallFrame& call, std::size_t position, PyObject* value) {
  switch (call.inputType(position).type) {
    case CellType::Int32Scalar:
      return setInt32(call, position, value);
    case CellType::DoubleScalar:
      return setDouble(call, position, value);
    case CellType::LogicalScalar:
      return setLogical(call, position, value);
    case CellType::String:
      return setText(call, position, value);
    case CellType::Any:
      return setAny(call, position, value);
    default:
      return false;
  }
}

// ---- Keywords ----

[[noreturn]] void refuseKeyword(const MethodRecord& method, PyObject* name) {
  const std::string shown = pybind11::repr(borrow(name));
  throw CallRefused("InvalidKeyword", method.name() + "() got an unexpected keyword argument " +
                                          shown + "; only nargout is one");
}

bool isNargout(PyObject* name) { return PyUnicode_CompareWithASCIIString(name, "nargout") == 0; }

std::int64_t outputsAskedFor(const MethodRecord& method, PyObject* const* keywordValues,
                             PyObject* keywordNames) {
  auto nargout = static_cast<std::int64_t>(method.outputs().size());
  if (keywordNames == nullptr) return nargout;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(keywordNames); ++i) {
    PyObject* name = PyTuple_GET_ITEM(keywordNames, i);
    if (!isNargout(name)) refuseKeyword(method, name);
    nargout = readOutputCount(keywordValues[i]);
  }
  return nargout;
}

std::int64_t outputsAskedFor(const MethodRecord& method, PyObject* keywords) {
  auto nargout = static_cast<std::int64_t>(method.outputs().size());
  if (keywords == nullptr) return nargout;
  Py_ssize_t position = 0;
  PyObject* value = nullptr;
  for (PyObject* name = nullptr; PyDict_Next(keywords, &position, &name, &value) != 0;) {
    if (!isNargout(name)) refuseKeyword(method, name);
    const Ref held = borrow(value);
    nargout = readOutputCount(held.ptr());
  }
  return nargout;
}

// ---- Results ----

Ref results(CallFrame& call, std::int64_t nargout) {
  if (nargout == 0) return pybind11::none();
  if (nargout == 1) return outputValue(call, 0);
  Ref values = checked(PyTuple_New(static_cast<Py_ssize_t>(nargout)));
  PyObject_GC_UnTrack(values.ptr());  // Python code that runs meanwhile cannot find it half-filled
  for (Py_ssize_t i = 0; i < static_cast<Py_ssize_t>(nargout); ++i) {
    PyTuple_SET_ITEM(values.ptr(), i,
                     outputValue(call, static_cast<std::size_t>(i)).release().ptr());
  }
  PyObject_GC_Track(values.ptr());
  return values;
}

// Null if the body failed, with the Python error set.
Ref run(const MethodRecord& method, PyObject* const* arguments, std::size_t count,
        PyObject* keywordNames) {
  const std::int64_t nargout = outputsAskedFor(method, arguments + count, keywordNames);
  CallFrame call(method, count, nargout);
  for (std::size_t i = 0; i < count; ++i) setInput(call, i, arguments[i]);
  return call.runOrReport(setPythonError) ? results(call, nargout) : Ref();
}

}  // namespace

void setInput(CallFrame& call, std::size_t position, PyObject* value) {
  if (setDirectly(call, position, value)) return;
  if (const vrArray* array = hostArrayOf(value)) {
    call.setInput(position, array);
  } else {
    OwnedArray made = toHost(value);
    CallScope::attach(made.get());  // the call releases it
    call.setInput(position, made.release());
  }
}

Ref outputValue(CallFrame& call, std::size_t cell) {
  const SignatureType* type = call.outputType(cell);
  if (type != nullptr && type->type == CellType::Any) {
    OwnedArray array = call.takeArray(cell);
    return array ? fromHost(std::move(array)) : pybind11::none();
  }
  if (!call.isWritten(cell)) return pybind11::none();
  switch (type->type) {
    case CellType::Int32Scalar:
      return checked(PyLong_FromLong(call.int32At(cell)));
    case CellType::LogicalScalar:
      return pybind11::bool_(call.logicalAt(cell));
    case CellType::DoubleScalar:
      return checked(PyFloat_FromDouble(call.doubleAt(cell)));
    default:
      return fromHost(call.takeArray(cell));
  }
}

std::int64_t readOutputCount(PyObject* value) {
  if (PyIndex_Check(value) == 0) {
    throw CallRefused("InvalidOutputCount",
                      std::string("nargout must be an int, not ") + Py_TYPE(value)->tp_name);
  }
  const Ref number = checked(PyNumber_Index(value));
  int overflow = 0;
  const long long count = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
  return overflow == 0 ? count : std::numeric_limits<std::int64_t>::max() * overflow;
}

PyObject* callMethod(const MethodRecord& method, PyObject* const* arguments, std::size_t count,
                     PyObject* keywordNames) noexcept {
  if (!isThreadReady(method.name().c_str())) return nullptr;
  PyObject* result = nullptr;
  try {
    result = run(method, arguments, count, keywordNames).release().ptr();
  } catch (...) {
    setPythonError(method.name().c_str());
  }
  return interruptedInstead(result);
}

OwnedArray constructObject(ClassRecord& cls, PyObject* arguments, PyObject* keywords) {
  const MethodRecord* constructor = cls.constructor();
  if (constructor == nullptr) {
    throw CallRefused("NoConstructor", "the class " + cls.fullName() + " has no constructor");
  }
  const auto count = static_cast<std::size_t>(PyTuple_GET_SIZE(arguments));
  CallFrame call(*constructor, count, outputsAskedFor(*constructor, keywords));
  for (std::size_t i = 0; i < count; ++i) {
    setInput(call, i, PyTuple_GET_ITEM(arguments, static_cast<Py_ssize_t>(i)));
  }
  call.run();
  return call.takeArray(0);
}

}  // namespace vormel::python
