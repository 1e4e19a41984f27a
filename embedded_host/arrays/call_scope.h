// The array list of a host call, and whatever else ends with the call.
//
// Each host call opens a CallScope. Arrays made while it is the innermost scope stand on its list
// until they are destroyed, put into another array, given scope 0 or returned; its end releases the
// rest, also when an exception ends the call. A list is intrusive and doubly linked: entering and
// leaving are a few stores, and a call whose arrays all leave pays nothing at its end.
//
// Scopes belong to the thread that opened them: what another thread makes meanwhile is on no list.
#pragma once

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

struct CallScopeAccess;  // call_scope.cpp

// Something that must not outlive the call it was made in, such as an open file.
class VORMEL_HOST_API CallResource {
 public:
  // Enters the innermost scope, if there is one.
  CallResource() noexcept;
  // Leaves it.
  virtual ~CallResource();
  CallResource(const CallResource&) = delete;
  CallResource& operator=(const CallResource&) = delete;

  // Called at the end of the scope if the resource is still there; it is no longer on the scope's
  // list by then, and ends itself (delete this).
  virtual void reclaim() noexcept = 0;

 private:
  friend struct CallScopeAccess;
  CallResource** link = nullptr;  // what points to this on the scope's list
  CallResource* next = nullptr;
};

class VORMEL_HOST_API CallScope {
 public:
  CallScope() noexcept;
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

  // The innermost scope of the thread, or null outside any call.
  static CallScope* current() noexcept;

  // Takes an array that leaves the call off whatever list it is on. Null is ignored.
  static void detach(vrArray* array) noexcept;

  // Moves an array onto the innermost scope's list, if there is a scope and the array is on no list
  // and no part of another. Null is ignored.
  static void attach(vrArray* array) noexcept;

 private:
  friend class CallResource;
  CallScope* outer_;
  vrArray* arrays_ = nullptr;
  CallResource* resources_ = nullptr;
};

}  // namespace vormel
