// The extension module _vormel: what the package's Python files are written over.
#define VORMEL_IMPORTS_NUMPY
#include <pybind11/stl.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/object_record.h"
#include "python/src/array_type.h"
#include "python/src/dump_load.h"
#include "python/src/errors.h"
#include "python/src/functions.h"
#include "python/src/host_object.h"
#include "python/src/host_value.h"
#include "python/src/invoke.h"
#include "python/src/method_type.h"
#include "python/src/python_api.h"
#include "python/src/text.h"
#include "python/src/to_host.h"
#include "python/src/type_names.h"

namespace vormel::python {
namespace {

namespace py = pybind11;

// ---- The descriptor tree ----

PackageRecord& packageNamed(const std::string& fullName) {
  PackageRecord* package = findPackage(fullName);
  if (package == nullptr) throw py::key_error(fullName);
  return *package;
}

template <class Records>
std::vector<std::string> namesOf(const Records& records) {
  std::vector<std::string> names;
  for (const auto& record : records) names.push_back(record->name());
  return names;
}

std::vector<std::string> packageNames(const std::string& parent) {
  return namesOf(parent.empty() ? rootPackages() : packageNamed(parent).subPackages());
}

std::vector<std::string> classNames(const std::string& package) {
  return namesOf(packageNamed(package).classes());
}

std::string packageDescription(const std::string& package) {
  const char* text = packageNamed(package).descriptor().getDetailedDescription();
  return text == nullptr ? "" : text;
}

Ref hostClass(const std::string& fullName) {
  ClassRecord* cls = findClass(fullName);
  if (cls == nullptr) throw py::key_error(fullName);
  return classFor(*cls);
}

using MethodTypes = std::tuple<std::string, std::vector<std::string>, std::vector<std::string>>;

std::vector<MethodTypes> registeredMethods(const py::type& type) {
  ClassRecord* cls = hostClassOf(type.ptr());
  if (cls == nullptr) throw py::type_error("not a class of the host");
  std::vector<MethodTypes> methods;
  for (const auto& method : cls->methods()) {
    methods.emplace_back(method->name(), typeNames(method->inputs()), typeNames(method->outputs()));
  }
  return methods;
}

// ---- Objects and values ----

void endHostObject(const py::object& object) { endObject(hostArrayOf(object.ptr())); }

Ref makeArray(const py::object& value, const std::optional<py::str>& cls) {
  if (!cls) return wrapArray(toHost(value.ptr()));
  return wrapArray(toHostOfClass(value.ptr(), plainUtf8(cls->ptr(), "class name")));
}

// All properties are named at once: adding one to an object copies those it has.
Ref makeValueObject(const py::str& className, const py::dict& properties) {
  const py::dict own(checked(PyDict_Copy(properties.ptr())));  // Python code that runs changes none
  std::vector<std::string> names;
  for (const auto& property : own) {
    names.emplace_back(plainUtf8(property.first.ptr(), "property name"));
  }
  const std::size_t dimensions[] = {1, 1};
  OwnedArray object(makeObject(plainUtf8(className.ptr(), "class name"), 2, dimensions, names));
  int number = 0;
  for (const auto& property : own) {
    OwnedArray array = toHost(property.second.ptr());
    vrSetFieldByNumber_730(object.get(), 0, number++, array.get());
    static_cast<void>(array.release());  // the object's from here on
  }
  return wrapObject(std::move(object));
}

// ---- The module ----

void loadModule(const std::string& path) { Interpreter::instance().loadModule(path); }

bool hasModules() { return !Interpreter::instance().modules().empty(); }

// Host failures of the functions below become Python errors as those of calls do.
void translateFailure(std::exception_ptr failure) {  // NOLINT: pybind11 wants it by value
  try {
    std::rethrow_exception(failure);
  } catch (const py::builtin_exception&) {
    throw;  // pybind11's own
  } catch (...) {
    setPythonError();
  }
}

void importNumpy() {
  if (_import_array() < 0) throw py::error_already_set();
}

void addTypes(PyObject* module) {
  try {
    loadErrorClasses();
    addArrayTypes(module);
    addMethodType(module);
    addHostObjectType(module);
  } catch (const PythonErrorSet&) {
    throw py::error_already_set();
  }
}

// ---- Threads ----

PyCFunctionWithKeywords pybindFunction = nullptr;

PyObject* callOnPreparedThread(PyObject* self, PyObject* arguments, PyObject* keywords) {
  return isThreadReady() ? pybindFunction(self, arguments, keywords) : nullptr;
}

template <class To, class From>
To functionAs(From* function) {
  return reinterpret_cast<To>(reinterpret_cast<void*>(function));
}

// Puts the preparation of the thread before every function that pybind11 made; all have one entry.
void prepareThreadsBeforeFunctions(PyObject* module) {
  PyObject* members = PyModule_GetDict(module);
  Py_ssize_t position = 0;
  PyObject* member = nullptr;
  while (PyDict_Next(members, &position, nullptr, &member) != 0) {
    if (!PyCFunction_CheckExact(member)) continue;
    PyMethodDef* method = reinterpret_cast<PyCFunctionObject*>(member)->m_ml;
    const PyCFunction prepared = functionAs<PyCFunction>(callOnPreparedThread);
    pybindFunction = functionAs<PyCFunctionWithKeywords>(std::exchange(method->ml_meth, prepared));
  }
}

}  // namespace
}  // namespace vormel::python

PYBIND11_MODULE(_vormel, m) {
  using namespace vormel::python;
  importNumpy();
  py::register_local_exception_translator(translateFailure);
  addTypes(m.ptr());

  m.doc() = "The embedded host in Python; the package vormel is its face.";
  m.def("load_module", loadModule);
  m.def("has_modules", hasModules);
  m.def("package_names", packageNames);
  m.def("class_names", classNames);
  m.def("package_description", packageDescription);
  m.def("host_class", hostClass);
  m.def("registered_methods", registeredMethods);
  m.def("invoke", invoke);
  m.def("end_object", endHostObject);
  m.def("make_array", makeArray);
  m.def("make_value_object", makeValueObject);
  m.def("dump_bytes", dumpBytes);
  m.def("load_bytes", loadBytes);
  m.def("live_arrays", vormel::liveArrayCount);
  m.def("function_names", [] { return vormel::HostFunctions::instance().names(); });
  m.def("function_set_for", [](const std::string& name) -> py::object {
    const Ref callable = functionSetFor(name);
    return callable ? callable : py::none();
  });
  m.def("set_function", [](const std::string& name, const py::object& callable) {
    setFunction(name, callable.ptr());
  });
  m.def("reset_function", resetFunction);
  m.def("call_own_function", callOwnFunction);
  prepareThreadsBeforeFunctions(m.ptr());
}
