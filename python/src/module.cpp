// The extension module _vormel: what the package's Python files are written over.
//
// It is written over Python's C interface, without the module macros of pybind11: those take the
// interpreter's lock in a way that never returns in a sub-interpreter, and end the process where
// memory runs out within a call.
#define VORMEL_IMPORTS_NUMPY
#include <string>
#include <vector>

#include "embedded_host/functions/host_functions.h"
#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/object_record.h"
#include "python/src/base/errors.h"
#include "python/src/base/host_objects.h"
#include "python/src/base/names.h"
#include "python/src/base/python_api.h"
#include "python/src/base/text.h"
#include "python/src/calls/calls.h"
#include "python/src/calls/functions.h"
#include "python/src/types/types.h"
#include "python/src/value_functions.h"

namespace vormel::python {
namespace {

using Arguments = PyObject* const*;

// ---- Arguments and results ----

void requireClass(PyObject* argument, bool isOfClass, const char* wanted) {
  if (isOfClass) return;
  raisePythonError(PyExc_TypeError, std::string("expected a ") + wanted +
                                        ", not a value of the class " + Py_TYPE(argument)->tp_name);
}

std::string textIn(PyObject* argument, const char* what) {
  requireClass(argument, PyUnicode_Check(argument), "str");
  return std::string(utf8(argument, what));
}

Ref listOfTexts(const std::vector<std::string>& texts) {
  Ref list = checked(PyList_New(0));
  for (const std::string& text : texts) checked(PyList_Append(list.ptr(), newText(text).ptr()));
  return list;
}

Ref none() { return borrow(Py_None); }

// ---- The descriptor tree ----

PackageRecord& packageNamed(const std::string& fullName) {
  PackageRecord* package = findPackage(fullName);
  if (package == nullptr) raisePythonError(PyExc_KeyError, "the host has no package " + fullName);
  return *package;
}

template <class Records>
Ref namesOf(const Records& records) {
  std::vector<std::string> names;
  names.reserve(records.size());
  for (const auto& record : records) names.push_back(record->name());
  return listOfTexts(names);
}

Ref packageNames(Arguments arguments) {
  const std::string parent = textIn(arguments[0], "package name");
  return namesOf(parent.empty() ? rootPackages() : packageNamed(parent).subPackages());
}

Ref classNames(Arguments arguments) {
  return namesOf(packageNamed(textIn(arguments[0], "package name")).classes());
}

Ref packageDescription(Arguments arguments) {
  PackageRecord& package = packageNamed(textIn(arguments[0], "package name"));
  const char* text = package.descriptor().getDetailedDescription();
  return newText(text == nullptr ? "" : text);
}

Ref hostClass(Arguments arguments) {
  const std::string name = textIn(arguments[0], "class name");
  ClassRecord* cls = findClass(name);
  if (cls == nullptr) raisePythonError(PyExc_KeyError, "the host has no class " + name);
  return classFor(*cls);
}

Ref registeredMethods(Arguments arguments) {
  ClassRecord* cls = PyType_Check(arguments[0]) ? hostClassOf(arguments[0]) : nullptr;
  requireClass(arguments[0], cls != nullptr, "class of the host");
  Ref methods = checked(PyList_New(0));
  for (const auto& method : cls->methods()) {
    const Ref entry = checked(PyTuple_Pack(3, newText(method->name()).ptr(),
                                           listOfTexts(typeNames(method->inputs())).ptr(),
                                           listOfTexts(typeNames(method->outputs())).ptr()));
    checked(PyList_Append(methods.ptr(), entry.ptr()));
  }
  return methods;
}

// ---- Objects and values ----

Ref invoke(Arguments arguments) {
  const std::string name = textIn(arguments[1], "method name");
  requireClass(arguments[2], PyTuple_Check(arguments[2]), "tuple");
  return invokeMethod(arguments[0], name, arguments[2], arguments[3]);
}

Ref endHostObject(Arguments arguments) {
  endObject(hostArrayOf(arguments[0]));
  return none();
}

Ref sameInstance(Arguments arguments) {
  const ObjectRecord* const one = ObjectRecord::behind(hostArrayOf(arguments[0]));
  const ObjectRecord* const other = ObjectRecord::behind(hostArrayOf(arguments[1]));
  const bool bothLive = one != nullptr && other != nullptr && one->nativeInstance() != nullptr;
  const bool isSame = bothLive && one->nativeInstance() == other->nativeInstance();
  return borrow(isSame ? Py_True : Py_False);
}

// The class name may be None.
Ref array(Arguments arguments) {
  const bool isName = arguments[1] == Py_None || PyUnicode_Check(arguments[1]);
  requireClass(arguments[1], isName, "str that names a host class");
  return makeArray(arguments[0], arguments[1]);
}

Ref valueObject(Arguments arguments) {
  requireClass(arguments[0], PyUnicode_Check(arguments[0]), "str");
  requireClass(arguments[1], PyDict_Check(arguments[1]), "dict");
  PyObject* name = nullptr;
  for (Py_ssize_t position = 0; PyDict_Next(arguments[1], &position, &name, nullptr) != 0;) {
    requireClass(name, PyUnicode_Check(name), "str as the name of a property");
  }
  return makeValueObject(arguments[0], arguments[1]);
}

Ref dump(Arguments arguments) { return dumpBytes(arguments[0]); }

Ref load(Arguments arguments) { return loadBytes(arguments[0]); }

Ref liveArrays(Arguments) { return checked(PyLong_FromSize_t(liveArrayCount())); }

// ---- The host's functions ----

Ref functionNames(Arguments) { return listOfTexts(HostFunctions::instance().names()); }

Ref functionSet(Arguments arguments) {
  Ref callable = functionSetFor(functionNamed(arguments[0]));
  return callable ? callable : none();
}

Ref setHostFunction(Arguments arguments) {
  setFunction(functionNamed(arguments[0]), arguments[1]);
  return none();
}

Ref resetHostFunction(Arguments arguments) {
  resetFunction(functionNamed(arguments[0]));
  return none();
}

Ref callHostsOwn(Arguments arguments) { return callOwnFunction(functionNamed(arguments[0])); }

// ---- Modules of the host ----

Ref loadModule(Arguments arguments) {
  PyObject* path = nullptr;
  if (PyUnicode_FSConverter(arguments[0], &path) == 0) throw PythonErrorSet();
  const Ref held = steal(path);
  Interpreter::instance().loadModule(PyBytes_AS_STRING(path));
  return none();
}

Ref hasModules(Arguments) {
  return borrow(Interpreter::instance().modules().empty() ? Py_False : Py_True);
}

// ---- The table ----

// The function as Python calls it: the number of its arguments is tested, what it throws becomes a
// Python error.
template <Ref (*function)(Arguments), Py_ssize_t count>
PyObject* called(PyObject*, Arguments arguments, Py_ssize_t given) noexcept {
  return guarded<PyObject*>(nullptr, [&] {
    if (given != count) {
      raisePythonError(PyExc_TypeError, "expected " + std::to_string(count) + " arguments, not " +
                                            std::to_string(given));
    }
    return function(arguments).release().ptr();
  });
}

template <Ref (*function)(Arguments), Py_ssize_t count>
PyMethodDef row(const char* name) {
  const auto entry = reinterpret_cast<void (*)()>(called<function, count>);
  return {name, reinterpret_cast<PyCFunction>(entry), METH_FASTCALL, nullptr};
}

PyMethodDef* moduleFunctions() {
  static PyMethodDef functions[] = {row<loadModule, 1>("load_module"),
                                    row<hasModules, 0>("has_modules"),
                                    row<packageNames, 1>("package_names"),
                                    row<classNames, 1>("class_names"),
                                    row<packageDescription, 1>("package_description"),
                                    row<hostClass, 1>("host_class"),
                                    row<registeredMethods, 1>("registered_methods"),
                                    row<invoke, 4>("invoke"),
                                    row<endHostObject, 1>("end_object"),
                                    row<sameInstance, 2>("same_instance"),
                                    row<array, 2>("make_array"),
                                    row<valueObject, 2>("make_value_object"),
                                    row<dump, 1>("dump_bytes"),
                                    row<load, 1>("load_bytes"),
                                    row<liveArrays, 0>("live_arrays"),
                                    row<functionNames, 0>("function_names"),
                                    row<functionSet, 1>("function_set_for"),
                                    row<setHostFunction, 2>("set_function"),
                                    row<resetHostFunction, 1>("reset_function"),
                                    row<callHostsOwn, 1>("call_own_function"),
                                    {nullptr, nullptr, 0, nullptr}};
  return functions;
}

// ---- The module ----

// The one module of the process, owned; null until the first import.
PyObject* theModule = nullptr;
bool isFilled = false;

// The host's objects belong to the interpreter that made them.
void requireMainInterpreter() {
  if (PyInterpreterState_Get() == PyInterpreterState_Main()) return;
  PyErr_SetString(PyExc_ImportError,
                  "vormel can be imported in the main interpreter only: a process has one host, "
                  "and sub-interpreters cannot share its objects");
  throw PythonErrorSet();
}

PyObject* create(PyObject* importSpec, PyModuleDef*) {
  return guarded<PyObject*>(nullptr, [&] {
    requireMainInterpreter();
    if (theModule == nullptr) {
      const Ref name = checked(PyObject_GetAttrString(importSpec, "name"));
      theModule = checked(PyModule_NewObject(name.ptr())).release().ptr();
    }
    return Py_NewRef(theModule);
  });
}

void fill(PyObject* module) {
  loadErrorClasses();  // the package may have been imported again, with classes of its own
  if (isFilled) return;
  if (_import_array() < 0) throw PythonErrorSet();
  addArrayType(module);
  addObjectType(module);
  addMethodType(module);
  addHostObjectType(module);
  checked(PyModule_AddStringConstant(module, "__version__", VORMEL_VERSION));
  isFilled = true;
}

int execute(PyObject* module) {
  return guarded<int>(-1, [&] {
    fill(module);
    return 0;
  });
}

PyModuleDef* definition() {
  static PyModuleDef_Slot slots[] = {{Py_mod_create, reinterpret_cast<void*>(create)},
                                     {Py_mod_exec, reinterpret_cast<void*>(execute)},
                                     {0, nullptr}};
  static PyModuleDef made = {PyModuleDef_HEAD_INIT,
                             "_vormel",
                             "The embedded host in Python; the package vormel is its face.",
                             0,
                             moduleFunctions(),
                             slots,
                             nullptr,
                             nullptr,
                             nullptr};
  return &made;
}

}  // namespace
}  // namespace vormel::python

// NOLINTNEXTLINE(bugprone-reserved-identifier): the interpreter looks for this name
PyMODINIT_FUNC PyInit__vormel() { return PyModuleDef_Init(vormel::python::definition()); }
