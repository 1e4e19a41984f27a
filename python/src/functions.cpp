#include "python/src/functions.h"

#include <map>
#include <utility>

#include "embedded_host/functions/host_functions.h"
#include "python/src/errors.h"
#include "python/src/from_host.h"
#include "python/src/python_lock.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

// The host is given names alone, so that nothing of Python is left with it when the interpreter
// has ended. Dropping a callable may run code that comes back here: a callable that leaves the
// table is dropped after table and host agree again.
std::map<std::string, Ref>& callables() {
  static auto& known = *new std::map<std::string, Ref>();
  return known;
}

// What the callable returned as a host array. It fails as the callable itself would: a value that
// has no host array is no refusal of the call that is running.
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

}  // namespace

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
