#include "python/src/invoke.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/object_record.h"
#include "python/src/array_type.h"
#include "python/src/calls.h"
#include "python/src/errors.h"
#include "python/src/host_object.h"
#include "python/src/host_value.h"
#include "python/src/near_names.h"

namespace vormel::python {
namespace {

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
  if (method == nullptr) {
    throw CallRefused("NoSuchMethod", "the class " + cls.fullName() + " has no method " + name +
                                          suggestion(name, methodNames(cls)));
  }
  return *method;
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

pybind11::tuple run(const MethodRecord& method, const std::vector<PyObject*>& inputs,
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
  return pybind11::reinterpret_steal<pybind11::tuple>(
      checked(PyTuple_Pack(2, outputCount.ptr(), cells.ptr())).release());
}

}  // namespace

pybind11::tuple invoke(const pybind11::object& target, const std::string& name,
                       const pybind11::tuple& arguments, const pybind11::object& nargout) {
  const MethodRecord& method = find(classOfTarget(target.ptr()), name);
  PyObject* outcome = nullptr;
  try {
    const auto inputs = inputsOf(method, target.ptr(), arguments.ptr());
    outcome = run(method, inputs, readOutputCount(nargout.ptr())).release().ptr();
  } catch (...) {
    setPythonError(method.name().c_str());
  }
  return pybind11::reinterpret_steal<pybind11::tuple>(
      checked(interruptedInstead(outcome)).release());
}

}  // namespace vormel::python
