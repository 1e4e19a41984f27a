#include "python/src/calls/calls.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/object_record.h"
#include "python/src/base/errors.h"
#include "python/src/base/host_objects.h"
#include "python/src/base/names.h"
#include "python/src/base/text.h"
#include "python/src/values_in/to_host.h"
#include "python/src/values_out/from_host.h"

namespace vormel::python {
namespace {

// ---- Inputs ----
//
// Numbers and texts go straight into a cell of their type, or become an array in the frame of the
// call. Everything else becomes a host array, which the host converts or refuses.

void setMade(CallFrame& call, std::size_t position, OwnedArray made) {
  CallScope::attach(made.get());  // the call releases it
  call.setInput(position, made.release());
}

void setScalar(CallFrame& call, std::size_t position, const Scalar& scalar) {
  const CellType type = call.inputType(position).type;
  if (type == CellType::Any) {
    std::memcpy(call.makeInput(position, scalar.classID, 1, 1), &scalar.bits, sizeof(scalar.bits));
  } else if (type == CellType::Int32Scalar && scalar.classID == vrINT32_CLASS) {
    call.setInt32(position, static_cast<std::int32_t>(scalar.bits));
  } else if (type == CellType::DoubleScalar && scalar.classID == vrDOUBLE_CLASS) {
    call.setDouble(position, std::bit_cast<double>(scalar.bits));
  } else if (type == CellType::LogicalScalar && scalar.classID == vrLOGICAL_CLASS) {
    call.setLogical(position, scalar.bits != 0);
  } else {
    setMade(call, position, scalarArray(scalar));
  }
}

// Null for a str that holds a NUL or a lone surrogate. It keeps its UTF-8 form.
const char* plainTextIn(PyObject* text) {
  Py_ssize_t length = 0;
  const char* characters = PyUnicode_AsUTF8AndSize(text, &length);
  if (characters == nullptr) {
    clearEncodingError();
    return nullptr;
  }
  return std::strlen(characters) == static_cast<std::size_t>(length) ? characters : nullptr;
}

void setText(CallFrame& call, std::size_t position, PyObject* text) {
  const CellType type = call.inputType(position).type;
  if (type == CellType::Any) {
    const std::size_t count = unitCount(text);
    void* units = call.makeInput(position, vrCHAR_CLASS, count == 0 ? 0 : 1, count);
    return writeUnits(text, static_cast<char16_t*>(units));
  }
  const char* characters = type == CellType::String ? plainTextIn(text) : nullptr;
  if (characters != nullptr) return call.setBorrowedText(position, characters);
  setMade(call, position, characterRow(text));  // the host has its own way with the rest
}

void setInput(CallFrame& call, std::size_t position, PyObject* value) {
  const Kind kind = kindOf(value);
  switch (kind) {
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real:
    case Kind::NumpyNumber:
      return setScalar(call, position, scalarOf(value, kind));
    case Kind::Text:
      return setText(call, position, value);
    case Kind::HostValue:
      return call.setInput(position, hostArrayIn(value));
    default:
      return setMade(call, position, toHost(value, kind));
  }
}

// ---- Outputs asked for ----

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

[[noreturn]] void refuseKeyword(const MethodRecord& method, PyObject* name) {
  const std::string shown = pybind11::repr(borrow(name));
  throw CallRefused("InvalidKeyword", method.name() + "() got an unexpected keyword argument " +
                                          shown + "; nargout is the only one");
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

// ---- Outputs ----

// What a cell holds after the call; None if the body did not write it.
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

// ---- A call ----

// Null if the body failed, with the Python error set.
Ref run(const MethodRecord& method, PyObject* const* arguments, std::size_t count,
        PyObject* keywordNames) {
  const std::int64_t nargout = outputsAskedFor(method, arguments + count, keywordNames);
  CallFrame call(method, count, nargout);
  for (std::size_t i = 0; i < count; ++i) setInput(call, i, arguments[i]);
  return call.runOrReport(setPythonError) ? results(call, nargout) : Ref();
}

// ---- A call as the descriptor sees it ----

ClassRecord& classOfTarget(PyObject* target) {
  if (PyType_Check(target)) {
    if (ClassRecord* cls = hostClassOf(target)) return *cls;
  } else if (const ObjectRecord* object = ObjectRecord::behind(hostArrayOf(target))) {
    return object->cls();
  }
  throw CallRefused("WrongObject", std::string("a value of the Python class ") +
                                       Py_TYPE(target)->tp_name +
                                       " is neither a host object nor a host class");
}

std::vector<std::string> methodNames(ClassRecord& cls) {
  std::vector<std::string> names;
  names.reserve(cls.methods().size());
  for (const auto& method : cls.methods()) names.push_back(method->name());
  return names;
}

const MethodRecord& find(ClassRecord& cls, const std::string& name) {
  const MethodRecord* method = cls.findMethod(name);
  if (method != nullptr) return *method;
  const std::string near = suggestion(name, methodNames(cls));
  throw CallRefused("NoSuchMethod",
                    "the class " + cls.fullName() + " has no method " + name +
                        (near.empty() ? "; vormel.methods(cls) lists those it has" : near));
}

// A constructor has no object yet.
std::vector<PyObject*> inputsOf(const MethodRecord& method, PyObject* target, PyObject* arguments) {
  std::vector<PyObject*> inputs;
  if (!PyType_Check(target) && !method.isConstructor()) inputs.push_back(target);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(arguments); ++i) {
    inputs.push_back(PyTuple_GET_ITEM(arguments, i));
  }
  return inputs;
}

Ref cellAsLeft(CallFrame& call, std::size_t cell) {
  if (OwnedArray array = call.takeArray(cell)) return wrapArray(std::move(array));
  return outputValue(call, cell);
}

// The output count and the list of cells.
Ref runAsDescribed(const MethodRecord& method, const std::vector<PyObject*>& inputs,
                   std::int64_t nargout) {
  CallFrame call(method, inputs.size(), nargout);
  for (std::size_t i = 0; i < inputs.size(); ++i) setInput(call, i, inputs[i]);
  call.run();
  const std::size_t count = std::max(static_cast<std::size_t>(nargout), method.outputs().size());
  const Ref cells = checked(PyList_New(0));
  for (std::size_t cell = 0; cell < count; ++cell) {
    checked(PyList_Append(cells.ptr(), cellAsLeft(call, cell).ptr()));
  }
  const Ref outputCount = checked(PyLong_FromLong(call.outputCount()));
  return checked(PyTuple_Pack(2, outputCount.ptr(), cells.ptr()));
}

}  // namespace

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

Ref invokeMethod(PyObject* target, const std::string& name, PyObject* argumentTuple,
                 PyObject* nargout) {
  const MethodRecord& method = find(classOfTarget(target), name);
  PyObject* outcome = nullptr;
  try {
    const std::vector<PyObject*> inputs = inputsOf(method, target, argumentTuple);
    outcome = runAsDescribed(method, inputs, readOutputCount(nargout)).release().ptr();
  } catch (...) {
    setPythonError(method.name().c_str());
  }
  return checked(interruptedInstead(outcome));
}

}  // namespace vormel::python
