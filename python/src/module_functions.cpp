#include "python/src/module_functions.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "embedded_host/functions/host_functions.h"
#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/object_record.h"
#include "embedded_host/objects/records.h"
#include "python/src/array_type.h"
#include "python/src/dump_load.h"
#include "python/src/errors.h"
#include "python/src/functions.h"
#include "python/src/host_object.h"
#include "python/src/host_value.h"
#include "python/src/invoke.h"
#include "python/src/text.h"
#include "python/src/to_host.h"
#include "python/src/type_names.h"

namespace vormel::python {
namespace {

using Arguments = PyObject* const*;

// ---- Arguments and results ----

[[noreturn]] void raise(PyObject* type, const std::string& text) {
  const Ref message =
      checked(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
  PyErr_SetObject(type, message.ptr());
  throw PythonErrorSet();
}

void requireClass(PyObject* argument, bool isOfClass, const char* wanted) {
  if (isOfClass) return;
  raise(PyExc_TypeError, std::string("expected a ") + wanted + ", not a value of the class " +
                             Py_TYPE(argument)->tp_name);
}

std::string textIn(PyObject* argument, const char* what) {
  requireClass(argument, PyUnicode_Check(argument), "str");
  return std::string(utf8(argument, what));
}

Ref newText(std::string_view text) {
  return checked(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
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
  if (package == nullptr) raise(PyExc_KeyError, "the host has no package " + fullName);
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
  if (cls == nullptr) raise(PyExc_KeyError, "the host has no class " + name);
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

Ref invokeMethod(Arguments arguments) {
  const std::string name = textIn(arguments[1], "method name");
  requireClass(arguments[2], PyTuple_Check(arguments[2]), "tuple");
  const auto inputs = pybind11::reinterpret_borrow<pybind11::tuple>(arguments[2]);
  // Qualified: std::invoke takes these arguments, too.
  return python::invoke(borrow(arguments[0]), name, inputs, borrow(arguments[3]));
}

Ref endHostObject(Arguments arguments) {
  endObject(hostArrayOf(arguments[0]));
  return none();
}

// The class name may be None.
Ref makeArray(Arguments arguments) {
  if (arguments[1] == Py_None) return wrapArray(toHost(arguments[0]));
  requireClass(arguments[1], PyUnicode_Check(arguments[1]), "str that names a host class");
  return wrapArray(toHostOfClass(arguments[0], plainUtf8(arguments[1], "class name")));
}

// The items, held: converting a value may change the dict.
std::vector<std::pair<Ref, Ref>> itemsOf(PyObject* dict) {
  std::vector<std::pair<Ref, Ref>> items;
  items.reserve(static_cast<std::size_t>(PyDict_GET_SIZE(dict)));
  Py_ssize_t position = 0;
  PyObject* value = nullptr;
  for (PyObject* name = nullptr; PyDict_Next(dict, &position, &name, &value) != 0;) {
    items.emplace_back(borrow(name), borrow(value));
  }
  return items;
}

// Property names in the order of their numbers, and the number of each item's. Keys of a dict that
// are of a class derived from str may be equal texts all the same.
struct Properties {
  explicit Properties(const std::vector<std::pair<Ref, Ref>>& items) {
    std::unordered_map<std::string, int> known;
    for (const auto& [key, value] : items) {
      requireClass(key.ptr(), PyUnicode_Check(key.ptr()), "str as the name of a property");
      const auto [place, isNew] =
          known.try_emplace(plainUtf8(key.ptr(), "property name"), static_cast<int>(names.size()));
      if (isNew) names.push_back(place->first);
      numbers.push_back(place->second);
    }
  }

  std::vector<std::string> names;
  std::vector<int> numbers;
};

// All properties are named at once: adding one to an object copies those it has.
Ref makeValueObject(Arguments arguments) {
  requireClass(arguments[0], PyUnicode_Check(arguments[0]), "str");
  requireClass(arguments[1], PyDict_Check(arguments[1]), "dict");
  const std::vector<std::pair<Ref, Ref>> items = itemsOf(arguments[1]);
  const Properties properties(items);
  const std::size_t dimensions[] = {1, 1};
  OwnedArray object(
      makeObject(plainUtf8(arguments[0], "class name"), 2, dimensions, properties.names));
  for (std::size_t i = 0; i < items.size(); ++i) {
    OwnedArray array = toHost(items[i].second.ptr());
    vrSetFieldByNumber_730(object.get(), 0, properties.numbers[i], array.get());
    static_cast<void>(array.release());  // the object's from here on
  }
  return wrapObject(std::move(object));
}

Ref dumpValueBytes(Arguments arguments) { return dumpBytes(arguments[0]); }

Ref loadValueBytes(Arguments arguments) { return loadBytes(arguments[0]); }

Ref liveArrays(Arguments) { return checked(PyLong_FromSize_t(liveArrayCount())); }

// ---- The host's functions ----

// "" for what cannot be the name of a function.
std::string functionName(PyObject* argument) {
  Py_ssize_t length = 0;
  if (!PyUnicode_Check(argument)) return "";
  const char* characters = PyUnicode_AsUTF8AndSize(argument, &length);
  if (characters == nullptr && cannotBeEncoded()) return "";
  return {characters, static_cast<std::size_t>(length)};
}

std::string functionNamed(PyObject* argument) {
  const HostFunctions& functions = HostFunctions::instance();
  std::string name = functionName(argument);
  if (functions.contains(name)) return name;
  std::string known;
  for (const std::string& other : functions.names()) {
    known.append(known.empty() ? "" : ", ").append(other);
  }
  const Ref shown = checked(PyObject_ASCII(argument));
  raise(PyExc_KeyError, "the host calls no function " +
                            std::string(utf8(shown.ptr(), "function name")) + "; it calls " +
                            known);
}

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
      raise(PyExc_TypeError,
            "expected " + std::to_string(count) + " arguments, not " + std::to_string(given));
    }
    return function(arguments).release().ptr();
  });
}

template <Ref (*function)(Arguments), Py_ssize_t count>
PyMethodDef row(const char* name) {
  const auto entry = reinterpret_cast<void (*)()>(called<function, count>);
  return {name, reinterpret_cast<PyCFunction>(entry), METH_FASTCALL, nullptr};
}

}  // namespace

PyMethodDef* moduleFunctions() {
  static PyMethodDef functions[] = {row<loadModule, 1>("load_module"),
                                    row<hasModules, 0>("has_modules"),
                                    row<packageNames, 1>("package_names"),
                                    row<classNames, 1>("class_names"),
                                    row<packageDescription, 1>("package_description"),
                                    row<hostClass, 1>("host_class"),
                                    row<registeredMethods, 1>("registered_methods"),
                                    row<invokeMethod, 4>("invoke"),
                                    row<endHostObject, 1>("end_object"),
                                    row<makeArray, 2>("make_array"),
                                    row<makeValueObject, 2>("make_value_object"),
                                    row<dumpValueBytes, 1>("dump_bytes"),
                                    row<loadValueBytes, 1>("load_bytes"),
                                    row<liveArrays, 0>("live_arrays"),
                                    row<functionNames, 0>("function_names"),
                                    row<functionSet, 1>("function_set_for"),
                                    row<setHostFunction, 2>("set_function"),
                                    row<resetHostFunction, 1>("reset_function"),
                                    row<callHostsOwn, 1>("call_own_function"),
                                    {nullptr, nullptr, 0, nullptr}};
  return functions;
}

}  // namespace vormel::python
