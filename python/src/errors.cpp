#include "python/src/errors.h"

#include <new>
#include <optional>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "kvrntob/host/ntob.h"
#include "python/src/names.h"

namespace vormel::python {
namespace {

// Borrowed, alive to the end of the process.
struct Classes {
  PyObject* error;
  PyObject* callError;
  PyObject* methodError;
  PyObject* outOfMemory;
} classes;

// The attribute names, made once.
struct Names {
  PyObject* identifier;
  PyObject* word;
  PyObject* function;
} names;

Ref textOf(std::string_view text) {
  return checked(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

// An error of the class with its attributes, made without running the class's __init__.
Ref makeError(PyObject* cls, const std::string& identifier, const std::optional<std::string>& word,
              const std::optional<std::string>& function, const char* text) {
  const Ref arguments = checked(PyTuple_Pack(1, textOf(text).ptr()));
  auto* type = reinterpret_cast<PyTypeObject*>(cls);
  Ref error = checked(type->tp_new(type, arguments.ptr(), nullptr));
  const auto set = [&error](PyObject* name, const Ref& value) {
    checked(PyObject_SetAttr(error.ptr(), name, value.ptr()));
  };
  set(names.identifier, nameFor(identifier));
  set(names.word, word ? textOf(*word) : pybind11::none());
  set(names.function, function ? nameFor(*function) : pybind11::none());
  return error;
}

void setError(const Ref& error) {
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
}

void setHostError(PyObject* cls, const HostException& failure) {
  setError(
      makeError(cls, failure.identifier(), failure.word(), failure.functionName(), failure.what()));
}

// What is no Exception, on its way through the host. Owned; null most of the time.
PyObject* interruption = nullptr;

bool isInterruption(PyObject* error) {
  return PyType_IsSubtype(Py_TYPE(error), reinterpret_cast<PyTypeObject*>(PyExc_Exception)) == 0;
}

void setCallableFailed(const CallableFailed& failure) {
  PyObject* cause = failure.cause();
  const Ref error = makeError(classes.error, failure.identifier(), failure.word(),
                              failure.functionName(), failure.what());
  PyException_SetCause(error.ptr(), Py_NewRef(cause));
  setError(error);
}

PyObject* classOfRefusal(const CallRefused& failure) {
  return failure.identifier() == "Vormel:NoSuchMethod" ? classes.methodError : classes.callError;
}

void setOtherError(PyObject* cls, const char* identifier, const char* function, const char* text) {
  std::optional<std::string> name;
  if (function != nullptr) name = function;
  setError(makeError(cls, identifier, std::nullopt, name, text));
}

void translateHostException(const HostException& failure) {
  if (typeid(failure) == typeid(HostException)) return setHostError(classes.error, failure);
  if (const auto* callable = dynamic_cast<const CallableFailed*>(&failure)) {
    setCallableFailed(*callable);
  } else if (const auto* refusal = dynamic_cast<const CallRefused*>(&failure)) {
    setHostError(classOfRefusal(*refusal), failure);
  } else {
    setHostError(classes.error, failure);
  }
}

void translate(const char* function) {
  try {
    throw;
  } catch (const PythonErrorSet&) {
    return;
  } catch (const HostException& failure) {
    translateHostException(failure);
  } catch (const ntob::TOBOutOfMemoryException& failure) {
    setOtherError(classes.outOfMemory, "Vormel:OutOfMemory", function, failure.what());
  } catch (const std::bad_alloc&) {
    setOtherError(classes.outOfMemory, "Vormel:OutOfMemory", function, "out of memory");
  } catch (pybind11::error_already_set& error) {
    error.restore();
  } catch (const std::exception& failure) {
    setOtherError(classes.error, "Vormel:Unexpected", function, failure.what());
  } catch (...) {
    setOtherError(classes.error, "Vormel:Unexpected", function, "an unknown C++ exception");
  }
}

// The Python error that is set, with its traceback, no longer set.
Ref takePythonError() {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  if (traceback != nullptr) PyException_SetTraceback(value, traceback);
  Py_XDECREF(type);
  Py_XDECREF(traceback);
  return steal(value);
}

std::string describe(const std::string& name, PyObject* error) {
  std::string text = "the function set for \"" + name + "\" failed: " + Py_TYPE(error)->tp_name;
  const Ref message = steal(PyObject_Str(error));
  const char* characters = message ? PyUnicode_AsUTF8(message.ptr()) : nullptr;
  if (characters == nullptr) {
    PyErr_Clear();
  } else if (*characters != '\0') {
    text.append(": ").append(characters);
  }
  return text;
}

}  // namespace

void loadErrorClasses() {
  const Ref module = checked(PyImport_ImportModule("vormel._errors"));
  const auto fetch = [&module](const char* name) {
    return checked(PyObject_GetAttrString(module.ptr(), name)).release().ptr();
  };
  classes = {fetch("Error"), fetch("CallError"), fetch("MethodError"), fetch("OutOfMemoryError")};
  const auto intern = [](const char* name) {
    return checked(PyUnicode_InternFromString(name)).release().ptr();
  };
  names = {intern("identifier"), intern("word"), intern("function")};
}

void setPythonError(const char* function) noexcept {
  try {
    translate(function);
  } catch (const PythonErrorSet&) {  // making the error failed, and has set an error of its own
    return;
  } catch (...) {
    PyErr_NoMemory();
  }
}

PyObject* interruptedInstead(PyObject* result) noexcept {
  if (interruption == nullptr) return result;
  Py_XDECREF(result);
  PyErr_Clear();
  setError(steal(std::exchange(interruption, nullptr)));
  return nullptr;
}

void setPythonError(const HostException& failure) noexcept {
  try {
    translateHostException(failure);
  } catch (const PythonErrorSet&) {  // as above
    return;
  } catch (...) {
    PyErr_NoMemory();
  }
}

CallableFailed::CallableFailed(const std::string& name) : CallableFailed(name, takePythonError()) {}

CallableFailed::CallableFailed(const std::string& name, Ref cause)
    : HostError("FunctionFailed", describe(name, cause.ptr())), cause_(std::move(cause)) {
  if (isInterruption(cause_.ptr())) Py_XSETREF(interruption, Py_NewRef(cause_.ptr()));
}

CallableFailed::CallableFailed(const CallableFailed& other) = default;

// The host may keep a failure beyond the end of the interpreter.
CallableFailed::~CallableFailed() {
  if (Py_IsInitialized() == 0) static_cast<void>(cause_.release());
}

}  // namespace vormel::python
