#include "python/src/base/errors.h"

#include <new>
#include <optional>
#include <typeinfo>
#include <utility>

#include "embedded_host/arrays/host_entry.h"
#include "kvrntob/host/ntob.h"
#include "python/src/base/names.h"

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

// An error of the class with its attributes, made without running the class's __init__.
Ref makeError(PyObject* cls, const std::string& identifier, const std::optional<std::string>& word,
              const std::optional<std::string>& function, const char* text) {
  const Ref arguments = checked(PyTuple_Pack(1, newText(text).ptr()));
  auto* type = reinterpret_cast<PyTypeObject*>(cls);
  Ref error = checked(type->tp_new(type, arguments.ptr(), nullptr));
  const auto set = [&error](PyObject* name, const Ref& value) {
    checked(PyObject_SetAttr(error.ptr(), name, value.ptr()));
  };
  set(names.identifier, nameFor(identifier));
  set(names.word, word ? newText(*word) : pybind11::none());
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

// The Python error that is set, with its traceback, no longer set. Null if there is none.
Ref takePythonError() noexcept {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  if (type == nullptr) return {};
  PyErr_NormalizeException(&type, &value, &traceback);
  if (traceback != nullptr) PyException_SetTraceback(value, traceback);
  Py_XDECREF(type);
  Py_XDECREF(traceback);
  return steal(value);
}

// ---- Exhausted memory. Nothing throws here: there may be no memory for that. ----

bool setAttribute(const Ref& error, PyObject* name, const Ref& value) noexcept {
  return value && PyObject_SetAttr(error.ptr(), name, value.ptr()) == 0;
}

Ref textOrNone(const char* text) noexcept {
  return text != nullptr ? steal(PyUnicode_FromString(text)) : borrow(Py_None);
}

// Null, with a Python error set, if there is no memory.
Ref makeOutOfMemory(const char* function, const char* text) noexcept {
  const Ref message = textOrNone(text);
  const Ref arguments = message ? steal(PyTuple_Pack(1, message.ptr())) : Ref();
  if (!arguments) return {};
  auto* type = reinterpret_cast<PyTypeObject*>(classes.outOfMemory);
  Ref error = steal(type->tp_new(type, arguments.ptr(), nullptr));
  const bool isWhole = error &&
                       setAttribute(error, names.identifier, textOrNone("Vormel:OutOfMemory")) &&
                       setAttribute(error, names.word, textOrNone(nullptr)) &&
                       setAttribute(error, names.function, textOrNone(function));
  return isWhole ? error : Ref();
}

// The Python error that is set becomes the cause.
void setOutOfMemory(const char* function, const char* text) noexcept {
  Ref cause = takePythonError();
  const Ref error = makeOutOfMemory(function, text);
  if (!error) {
    PyErr_Clear();
    PyErr_NoMemory();
    return;
  }
  if (cause) PyException_SetCause(error.ptr(), cause.release().ptr());
  setError(error);
}

// Python's own MemoryError is one of the host too.
void nameExhaustedMemory(const char* function) noexcept {
  if (PyErr_ExceptionMatches(PyExc_MemoryError) == 0 ||
      PyErr_ExceptionMatches(classes.outOfMemory) != 0)
    return;
  setOutOfMemory(function, "out of memory");
}

// ---- The other failures ----

// What is no Exception, on its way through the host to the thread's call. Owned; null most of the
// time.
constinit thread_local PyObject* interruption = nullptr;

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

void setUnexpected(const char* function, const char* text) {
  std::optional<std::string> name;
  if (function != nullptr) name = function;
  setError(makeError(classes.error, "Vormel:Unexpected", std::nullopt, name, text));
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
    setOutOfMemory(function, failure.what());
  } catch (const std::bad_alloc&) {
    setOutOfMemory(function, "out of memory");
  } catch (pybind11::error_already_set& error) {
    error.restore();
  } catch (const std::exception& failure) {
    setUnexpected(function, failure.what());
  } catch (...) {
    setUnexpected(function, "an unknown C++ exception");
  }
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
  } catch (const PythonErrorSet&) {  // NOLINT(bugprone-empty-catch): making it failed, and set one
  } catch (...) {
    PyErr_NoMemory();
  }
  nameExhaustedMemory(function);
}

bool isThreadReady(const char* function) noexcept {
  if (prepareThread()) return true;
  setOutOfMemory(function, "out of memory");
  return false;
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
  } catch (const PythonErrorSet&) {  // NOLINT(bugprone-empty-catch): as above
  } catch (...) {
    PyErr_NoMemory();
  }
  nameExhaustedMemory(nullptr);
}

void raisePythonError(PyObject* cls, const std::string& text) {
  PyErr_SetObject(cls, newText(text).ptr());
  throw PythonErrorSet();
}

CallableFailed::CallableFailed(const std::string& name) : CallableFailed(name, takePythonError()) {}

CallableFailed::CallableFailed(const std::string& name, Ref cause)
    : HostError("FunctionFailed", describe(name, cause.ptr())), cause_(std::move(cause)) {
  if (isInterruption(cause_.ptr())) Py_XSETREF(interruption, Py_NewRef(cause_.ptr()));
}

// The host may copy and keep a failure on any thread, and beyond the end of the interpreter.
CallableFailed::CallableFailed(const CallableFailed& other) : HostError(other) {
  const PythonLock lock;
  if (lock) cause_ = other.cause_;
}

CallableFailed::~CallableFailed() {
  const PythonLock lock;
  if (lock) {
    cause_ = Ref();
  } else {
    static_cast<void>(cause_.release());
  }
}

}  // namespace vormel::python
