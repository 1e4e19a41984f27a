// Which host function is running: the host's side of v_dispatcher.h.
//
//   static const int handle = functionHandle("getSignal");  // once
//   RunningFunction running(handle);                        // each call, on the stack
#pragma once

#include <string>

#include "kvrntob/host/export.h"
#include "kvrntob/host/v_dispatcher.h"

namespace vormel {

// The dispatcher's handle for a name: 0 or above, the same for the same name, valid to the end of
// the process.
VORMEL_HOST_API int functionHandle(const std::string& name);

// Marks a function as the running one of the thread during the lifetime of this object. Lifetimes
// must nest.
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
