#include "embedded_host/functions/host_functions.h"

#include <cxxabi.h>
#include <algorithm>
#include <chrono>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/functions/claimed_directory.h"
#include "embedded_host/functions/forks.h"
#include "embedded_host/functions/private_directory.h"
#include "embedded_host/messages/dispatcher.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/v_interpreter.h"

namespace vormel {
namespace {

// ---- The functions that come with the host; v_interpreter.h says what each returns ----

OwnedArray text(const char* characters) { return OwnedArray(vrCreateString(characters)); }

OwnedArray version() { return text("Vormel " VORMEL_VERSION); }

// In UTC.
OwnedArray now() {
  using Days = std::chrono::duration<double, std::chrono::days::period>;
  constexpr std::chrono::sys_days yearZero = std::chrono::year{0} / std::chrono::January / 1;
  const Days sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return OwnedArray(vrCreateDoubleScalar((sinceEpoch - yearZero.time_since_epoch()).count()));
}

OwnedArray tempdir() {
  requireOwnProcess();
  watchForks();
  if (!isOwnProcess()) requireNoSharedFile();
  return text(PrivateDirectory::instance().path().c_str());
}

OwnedArray timeseries() {
  const std::size_t scalar[] = {1, 1};
  return OwnedArray(makeObject("timeseries", 2, scalar, {"Data", "Time"}));
}

struct BuiltIn {
  const char* name;
  OwnedArray (*function)();
};

constexpr BuiltIn builtIns[] = {
    {"version", version}, {"now", now}, {"tempdir", tempdir}, {"timeseries", timeseries}};

const BuiltIn* findBuiltIn(const std::string& name) {
  const auto* found = std::find_if(std::begin(builtIns), std::end(builtIns),
                                   [&](const BuiltIn& builtIn) { return builtIn.name == name; });
  return found != std::end(builtIns) ? found : nullptr;
}

[[noreturn]] void failUnknown(const std::string& name) {
  throw HostError("NoSuchFunction", "There is no host function \"" + name + "\".");
}

}  // namespace

HostFunctions& HostFunctions::instance() {
  // Never destroyed: at exit, its functions may belong to an interpreter that no longer exists.
  static auto& functions = *new HostFunctions;
  return functions;
}

HostFunctions::HostFunctions() {
  for (const BuiltIn& builtIn : builtIns) {
    functions_[builtIn.name] = {builtIn.function, functionHandle(builtIn.name), false};
  }
}

std::vector<std::string> HostFunctions::names() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& entry : functions_) names.push_back(entry.first);
  return names;
}

bool HostFunctions::contains(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  return functions_.count(name) != 0;
}

bool HostFunctions::isReplaced(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto found = functions_.find(name);
  return found != functions_.end() && found->second.isReplaced;
}

void HostFunctions::set(const std::string& name, HostFunction function) {
  if (!function) throw HostError("InvalidFunction", "A host function must be callable.");
  Entry entry{std::move(function), functionHandle(name), true};
  const std::lock_guard lock(mutex_);  // released before the former function is destroyed
  std::swap(functions_[name], entry);
}

void HostFunctions::reset(const std::string& name) {
  const BuiltIn* builtIn = findBuiltIn(name);
  Entry former;
  const std::lock_guard lock(mutex_);  // released before the former function is destroyed
  const auto found = functions_.find(name);
  if (found == functions_.end()) failUnknown(name);
  if (builtIn != nullptr) {
    former = std::exchange(found->second, {builtIn->function, found->second.functionHandle, false});
  } else {
    former = std::move(found->second);
    functions_.erase(found);
  }
}

// Returns a copy, since a function may replace itself while it runs.
HostFunctions::Entry HostFunctions::find(const std::string& name) const {
  const std::lock_guard lock(mutex_);
  const auto found = functions_.find(name);
  if (found == functions_.end()) failUnknown(name);
  return found->second;
}

namespace {

OwnedArray callAsHostFunction(const HostFunction& function, int handle, const std::string& name) {
  const HostEntry entry;
  const CallScope scope;
  const RunningFunction running(handle);
  OwnedArray result = function();
  if (!result)
    throw HostError("NoResult", "The host function \"" + name + "\" returned no result.");
  CallScope::detach(result.get());
  return result;
}

}  // namespace

OwnedArray HostFunctions::call(const std::string& name) const {
  const Entry entry = find(name);
  return callAsHostFunction(entry.function, entry.functionHandle, name);
}

OwnedArray HostFunctions::callBuiltIn(const std::string& name) const {
  const BuiltIn* builtIn = findBuiltIn(name);
  if (builtIn == nullptr) failUnknown(name);
  return callAsHostFunction(builtIn->function, functionHandle(builtIn->name), name);
}

namespace {

// Claims the directory before the module makes its scratch file there.
void claimAnswer(const std::string& name, const vrArray* answer) {
  if (name != "tempdir" || vrGetClassID(answer) != vrCHAR_CLASS || vrIsEmpty(answer)) return;
  watchForks();
  ClaimedDirectory::instance().claim(vrArrayToStdString(answer));
}

// The call without the trap. The result is on the array list of the calling method.
void callFunction(int outputCount, vrArray** outputs, int inputCount, const char* name) {
  if (inputCount != 0) throw HostError("TooManyInputs", "Host functions take no inputs.");
  if (outputCount < 0 || outputCount > 1) {
    throw HostError("InvalidOutputCount", "Host functions return one output.");
  }
  const std::string asked = name != nullptr ? name : "";
  OwnedArray result = HostFunctions::instance().call(asked);
  claimAnswer(asked, result.get());
  if (outputCount == 0) return;
  CallScope::attach(result.get());
  outputs[0] = result.release();
}

}  // namespace
}  // namespace vormel

// The exception that ends a thread has no object, which the sanitizer for null references reports
// at the catch.
__attribute__((no_sanitize("null"))) int ipCallFcnWithTrap(int outputCount, vrArray** outputs,
                                                           int inputCount, vrArray**,
                                                           const char* name, int trap) {
  for (int i = 0; i < outputCount; ++i) outputs[i] = nullptr;
  vormel::clearTrappedFailure();
  if (trap == 0) {
    vormel::callFunction(outputCount, outputs, inputCount, name);
    return 0;
  }
  try {
    vormel::callFunction(outputCount, outputs, inputCount, name);
    return 0;
  } catch (const abi::__forced_unwind&) {
    throw;  // ends the thread; not a failure to trap
  } catch (...) {
    vormel::setTrappedFailure(std::current_exception());
    return 1;
  }
}
