#include "python/src/calls/functions.h"

#include <map>
#include <utility>

#include "embedded_host/functions/host_functions.h"
#include "python/src/base/errors.h"
#include "python/src/base/names.h"
#include "python/src/base/text.h"
#include "python/src/values_in/to_host.h"
#include "python/src/values_out/from_host.h"

namespace vormel::python {
namespace {

// The host holds names only, so that it keeps nothing of Python when the interpreter has ended.
// Dropping a callable may run code that comes back here: a callable that leaves the table is
// dropped after the table and the host agree again.
std::map<std::string, Ref>& callables() {
  static auto& known = *new std::map<std::string, Ref>();
  return known;
}

// What the callable returned, as a host array. A value that has no host array counts as a failure
// of the callable, not as a refusal of the call that is running.
OwnedArray convertResult(const std::string& name, PyObject* result) {
  try {
    return toHost(result);
  } catch (...) {
    setPythonError();
  }
  throw CallableFailed(name);
}

[[noreturn]] void failUnknown(const std::string& name) {
  throw HostError("NoSuchFunction", "no callable is set for \"" + name + '"');
}

OwnedArray callCallable(const std::string& name) {
  const PythonLock lock;  // a thread of C++ may have made the call
  const Ref callable = lock ? functionSetFor(name) : Ref();
  if (!callable) failUnknown(name);
  const Ref result = steal(PyObject_CallNoArgs(callable.ptr()));
  if (!result) throw CallableFailed(name);
  return convertResult(name, result.ptr());
}

// "" for what cannot be the name of a function.
std::string functionName(PyObject* argument) {
  Py_ssize_t length = 0;
  if (!PyUnicode_Check(argument)) return "";
  const char* characters = PyUnicode_AsUTF8AndSize(argument, &length);
  if (characters == nullptr) {
    clearEncodingError();
    return "";
  }
  return {characters, static_cast<std::size_t>(length)};
}

}  // namespace

std::string functionNamed(PyObject* argument) {
  const HostFunctions& functions = HostFunctions::instance();
  std::string name = functionName(argument);
  if (functions.contains(name)) return name;
  const Ref shown = checked(PyObject_ASCII(argument));
  raisePythonError(PyExc_KeyError, "the host calls no function " +
                                       std::string(utf8(shown.ptr(), "function name")) +
                                       "; it calls " + listed(functions.names()));
}

void setFunction(const std::string& name, PyObject* callable) {
  HostFunction function = [name] { return callCallable(name); };
  Ref entry = borrow(callable);
  Ref& place = callables()[name];
  HostFunctions::instance().set(name, std::move(function));
  std::swap(place, entry);
}

Ref functionSetFor(const std::string& name) {
  const auto found = callables().find(name);
  return found == callables().end() ? Ref() : found->second;
}

void resetFunction(const std::string& name) {
  HostFunctions::instance().reset(name);
  const auto former = callables().extract(name);  // dropped at the end
}

Ref callOwnFunction(const std::string& name) {
  return fromHost(HostFunctions::instance().callBuiltIn(name));
}

}  // namespace vormel::python
