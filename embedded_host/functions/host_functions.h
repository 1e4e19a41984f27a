// Host functions by name: what ipCallFcnWithTrap calls.
//
// Four functions come with the host: "version", "now", "tempdir" and "timeseries"
// (v_interpreter.h). Each can be replaced and put back, and functions can be added. A function
// takes no inputs and returns one output.
//
// Any thread may read and change the list at any time, also from within a function that is running.
// A function that is replaced or removed is destroyed after the list has changed.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "kvrntob/host/export.h"

namespace vormel {

// May throw anything: the caller receives it, or traps it.
using HostFunction = std::function<OwnedArray()>;

class VORMEL_HOST_API HostFunctions {
 public:
  // The functions of the process.
  static HostFunctions& instance();

  HostFunctions(const HostFunctions&) = delete;
  HostFunctions& operator=(const HostFunctions&) = delete;

  // Names that can be called, in alphabetical order.
  std::vector<std::string> names() const;
  bool contains(const std::string& name) const;

  // True if the function of that name was replaced or added.
  bool isReplaced(const std::string& name) const;

  // Replaces or adds a function. Throws HostError("InvalidFunction") if `function` is empty.
  void set(const std::string& name, HostFunction function);

  // Puts the host's own back, or removes an added one. Throws HostError("NoSuchFunction") if there
  // is no function of the name.
  void reset(const std::string& name);

  // Calls the function as a host call of its own. The result is the caller's, on no list. Throws
  // HostError("NoSuchFunction"), as HostEntry, HostError("NoResult") if it gave no array, and what
  // it throws.
  OwnedArray call(const std::string& name) const;

  // Calls the function that comes with the host, whether or not it is replaced. Throws as call().
  OwnedArray callBuiltIn(const std::string& name) const;

 private:
  struct Entry {
    HostFunction function;
    int functionHandle;  // of the name, for the dispatcher
    bool isReplaced;
  };

  HostFunctions();
  Entry find(const std::string& name) const;

  mutable std::mutex mutex_;  // never held while a function runs or is destroyed
  std::map<std::string, Entry> functions_;
};

}  // namespace vormel
