#include "embedded_host/functions/host_functions.h"

#include <algorithm>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/functions/dispatcher.h"
#include "embedded_host/functions/own_functions.h"
#include "embedded_host/functions/trapped_failure.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/v_interpreter.h"

namespace vormel {
namespace {

struct OwnFunction {
  const char* name;
  OwnedArray (*function)();
};

constexpr OwnFunction kOwnFunctions[] = {
    {"version", version}, {"now", now}, {"tempdir", tempdir}, {"timeseries", timeseries}};

const OwnFunction* findOwn(const std::string& name) {
  const auto* found = std::find_if(std::begin(kOwnFunctions), std::end(kOwnFunctions),
                                   [&](const OwnFunction& own) { return own.name == name; });
  return found != std::end(kOwnFunctions) ? found : nullptr;
}

[[noreturn]] void failUnknown(const std::string& name) {
  throw HostError("NoSuchFunction", "There is no host function \"" + name + "\".");
}

}  // namespace

HostFunctions& HostFunctions::instance() {
  // Never destroyed: its functions may belong to an interpreter that is gone by then.
  static auto& functions = *new HostFunctions;
  return functions;
}

HostFunctions::HostFunctions() {
  for (const OwnFunction& own : kOwnFunctions) {
    functions_[own.name] = {own.function, functionHandle(own.name), false};
  }
}

std::vector<std::string> HostFunctions::names() const {
  std::vector<std::string> names;
  for (const auto& entry : functions_) names.push_back(entry.first);
  return names;
}

bool HostFunctions::isReplaced(const std::string& name) const {
  const auto found = functions_.find(name);
  return found != functions_.end() && found->second.replaced;
}

void HostFunctions::set(const std::string& name, HostFunction function) {
  if (!function) throw HostError("InvalidFunction", "A host function must be callable.");
  functions_[name] = {std::move(function), functionHandle(name), true};
}

void HostFunctions::reset(const std::string& name) {
  const auto found = functions_.find(name);
  if (found == functions_.end()) failUnknown(name);
  if (const OwnFunction* own = findOwn(name)) {
    found->second = {own->function, found->second.functionHandle, false};
  } else {
    functions_.erase(found);
  }
}

namespace {

OwnedArray callAsHostFunction(const HostFunction& function, int handle, const std::string& name) {
  const CallScope scope;
  const RunningFunction running(handle);
  OwnedArray result = function();
  if (!result) throw HostError("NoResult", "The host function \"" + name + "\" gave no result.");
  CallScope::detach(result.get());
  return result;
}

}  // namespace

OwnedArray HostFunctions::call(const std::string& name) const {
  const auto found = functions_.find(name);
  if (found == functions_.end()) failUnknown(name);
  const HostFunction function = found->second.function;  // which may replace itself
  return callAsHostFunction(function, found->second.functionHandle, name);
}

OwnedArray HostFunctions::callOwn(const std::string& name) const {
  const OwnFunction* own = findOwn(name);
  if (own == nullptr) failUnknown(name);
  return callAsHostFunction(own->function, functionHandle(own->name), name);
}

namespace {

// One call as ipCallFcnWithTrap makes it; the result stands on the list of the call that asked.
void callFunction(int outputCount, vrArray** outputs, int inputCount, const char* name) {
  if (inputCount != 0) throw HostError("TooManyInputs", "Host functions take no inputs.");
  if (outputCount < 0 || outputCount > 1) {
    throw HostError("InvalidOutputCount", "Host functions give one output.");
  }
  OwnedArray result = HostFunctions::instance().call(name != nullptr ? name : "");
  if (outputCount == 0) return;
  CallScope::attach(result.get());
  outputs[0] = result.release();
}

}  // namespace
}  // namespace vormel

int ipCallFcnWithTrap(int outputCount, vrArray** outputs, int inputCount, vrArray**,
                      const char* name, int trap) {
  for (int i = 0; i < outputCount; ++i) outputs[i] = nullptr;
  vormel::setTrappedFailure(nullptr);
  if (trap == 0) {
    vormel::callFunction(outputCount, outputs, inputCount, name);
    return 0;
  }
  try {
    vormel::callFunction(outputCount, outputs, inputCount, name);
    return 0;
  } catch (...) {
    vormel::setTrappedFailure(std::current_exception());
    return 1;
  }
}
