// Which host function is running: the host's side of v_dispatcher.h.
//
//   static const int handle = functionHandle("getSignal");  // once
//   RunningFunction running(handle);                        // each call, on the stack
#pragma once

#include <string>

#include "kvrntob/host/export.h"
#include "kvrntob/host/v_dispatcher.h"

namespace vormel {

// The handle under which the dispatcher knows the name: 0 or above, one number a name, valid as
// long as the process.
VORMEL_HOST_API int functionHandle(const std::string& name);

// Makes a function the running one of the thread for as long as it lives. Lives must nest.
class VORMEL_HOST_API RunningFunction {
 public:
  explicit RunningFunction(int handle) noexcept;
  ~RunningFunction();
  RunningFunction(const RunningFunction&) = delete;
  RunningFunction& operator=(const RunningFunction&) = delete;

 private:
  Vfh_Vormel_fn scope_;
  const Vfh_Vormel_fn* outer_;
};

}  // namespace vormel
