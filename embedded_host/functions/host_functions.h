// Host functions by name: what ipCallFcnWithTrap calls.
//
// The host has its own "version", "now", "tempdir" and "timeseries" (v_interpreter.h). Each can be
// replaced and put back, and functions can be added. Functions take no inputs and give one output.
//
// Any thread may ask and change the list at any time, a function that is running included. A
// function that was replaced or removed ends after the list has changed.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "kvrntob/host/export.h"

namespace vormel {

// May throw whatever it likes: the caller gets it, or traps it.
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

  // True if `name` is replaced or added: not as the host has it.
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

  // The same with the function that the host has of its own, whatever it is replaced by.
  OwnedArray callOwn(const std::string& name) const;

 private:
  struct Entry {
    HostFunction function;
    int functionHandle;  // of the name, with the dispatcher
    bool replaced;
  };

  HostFunctions();
  Entry find(const std::string& name) const;

  mutable std::mutex mutex_;  // never held while a function runs, or ends
  std::map<std::string, Entry> functions_;
};

}  // namespace vormel
