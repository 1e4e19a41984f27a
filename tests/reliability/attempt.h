// One call of a method through the host while the host lets it down at one place.
#pragma once

#include <cstdint>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/call_frame.h"
#include "kvrntob/host/ntob.h"
#include "tests/reliability/heap_faults.h"
#include "tests/support/array_builders.h"

namespace kvr::test {

enum class Site {
  HostMemory,
  Heap,
  FileOperation,
  HostFunction
};

// Operation number `number` fails at the site; none for 0.
struct Fault {
  Site site = Site::HostMemory;
  std::uint64_t number = 0;
  FaultRepeat repeat = FaultRepeat::Once;
};

// What came of the call.
struct Attempt {
  std::string
      failure;  // "" for none, such as "NON_EXISTENT ID", "out of memory", "Vormel:NoResult"
  std::string lastFault;
  std::uint64_t seen = 0;
  std::uint64_t injected = 0;
  bool hasResult = false;  // the first output was written
  std::int32_t outputCount = 0;
};

// A failure as text: class and word of the module's, "out of memory", or the host's identifier.
inline std::string textOf(const std::exception_ptr& failure) {
  if (failure == nullptr) return "";
  try {
    std::rethrow_exception(failure);
  } catch (const vormel::HostException& raised) {
    const std::string module = "KVR:kvr:";
    const std::string& name = raised.identifier();
    const std::string shown = name.starts_with(module) ? name.substr(module.size()) : name;
    return raised.word() ? shown + " " + *raised.word() : shown;
  } catch (const ntob::TOBOutOfMemoryException&) {
    return "out of memory";
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& other) {
    return other.what();
  }
}

using Arrays = std::vector<OwnedArray>;

// The call itself; a null handle for a constructor.
inline void callMethod(const vormel::MethodRecord& method, const vrArray* handle,
                       const std::vector<const vrArray*>& inputs, std::int64_t nargout,
                       Attempt& attempt) {
  const std::size_t handles = handle != nullptr ? 1 : 0;
  vormel::CallFrame frame(method, handles + inputs.size(), nargout);
  if (handle != nullptr) frame.setInput(0, handle);
  for (std::size_t i = 0; i < inputs.size(); ++i) frame.setInput(handles + i, inputs[i]);
  frame.run();
  attempt.hasResult = frame.isWritten(0);
  attempt.outputCount = frame.outputCount();
}

template <class Plan, class Action>
std::exception_ptr runUnder(Plan& plan, Attempt& attempt, const Action& action) {
  std::exception_ptr failure;
  try {
    action();
  } catch (...) {
    failure = std::current_exception();
  }
  attempt.seen = plan.seen();
  attempt.injected = plan.injected();
  return failure;
}

// Runs the action under the fault. Nothing is made into text before the fault is over.
template <class Action>
Attempt attemptUnder(const Fault& fault, const Action& action) {
  Attempt attempt;
  std::exception_ptr failure;
  const char* lastFault = "operator new";
  if (fault.site == Site::Heap) {
    HeapPlan plan(fault.number, fault.repeat);
    failure = runUnder(plan, attempt, [&] { action(attempt); });
  } else {
    const auto site = fault.site == Site::HostMemory      ? FaultSite::Memory
                      : fault.site == Site::FileOperation ? FaultSite::FileOperation
                                                          : FaultSite::HostFunction;
    FaultPlan plan(site, fault.number, fault.repeat);
    failure = runUnder(plan, attempt, [&] { action(attempt); });
    lastFault = plan.lastFault();
  }
  attempt.failure = textOf(failure);
  attempt.lastFault = lastFault;
  return attempt;
}

inline std::vector<const vrArray*> borrowed(const Arrays& arrays) {
  std::vector<const vrArray*> all;
  for (const OwnedArray& array : arrays) all.push_back(array.get());
  return all;
}

inline Attempt attemptCall(const vormel::MethodRecord& method, const vrArray* handle,
                           const Arrays& inputs, const Fault& fault = {}) {
  const std::vector<const vrArray*> arrays = borrowed(inputs);
  return attemptUnder(fault,
                      [&](Attempt& attempt) { callMethod(method, handle, arrays, 1, attempt); });
}

}  // namespace kvr::test
