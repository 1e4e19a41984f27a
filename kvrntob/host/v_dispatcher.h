// Host library v_dispatcher: which host function is running.
#pragma once

#include "kvrntob/host/export.h"

class Vdispatcher;

// The scope record of a running host function: the dispatcher that runs it, and the integer handle
// under which that dispatcher knows its name. Owned by the host, valid while the function runs.
class Vfh_Vormel_fn {
 public:
  Vfh_Vormel_fn(const Vdispatcher& dispatcher, int handle)
      : dispatcher_(&dispatcher), handle_(handle) {}

  const Vdispatcher& dispatcher() const { return *dispatcher_; }
  int handle() const { return handle_; }

 private:
  const Vdispatcher* dispatcher_;
  int handle_;
};

class VORMEL_HOST_API Vdispatcher {
 public:
  // The dispatcher of the process. Never null once the host has been loaded.
  static Vdispatcher* pDMain;

  // The scope of the innermost running host function, or null when none is running.
  const Vfh_Vormel_fn* GetCurrentlyExecutingFunctionScope() const;

  // The plain name of the function with this handle, such as "getSignal". The text belongs to the
  // host and lives as long as the process. Null for a handle that was never given out.
  const char* get_hfuncname(int handle) const;
};
