// The array list of a host call, and other resources that end with the call.
//
// Each host call opens a CallScope. An array that is made while the scope is the innermost one is
// on its list until the array is destroyed, put into another array, given scope 0 or returned. The
// end of the scope releases the arrays that are left, also when an exception ends the call. The
// list is intrusive and doubly linked: adding and removing are a few stores, and a call whose
// arrays have all left pays nothing at its end.
//
// A scope belongs to the thread that opened it: arrays that other threads make are on no list.
#pragma once

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

struct CallScopeAccess;  // call_scope.cpp

// Something that must not outlive the call it was made in, such as an open file.
class VORMEL_HOST_API CallResource {
 public:
  // Joins the list of the innermost scope, if there is one.
  CallResource() noexcept;
  // Leaves the list.
  virtual ~CallResource();
  CallResource(const CallResource&) = delete;
  CallResource& operator=(const CallResource&) = delete;

  // Called at the end of the scope if the resource still exists, after it has left the scope's
  // list. Ends the resource (delete this).
  virtual void reclaim() noexcept = 0;

 private:
  friend struct CallScopeAccess;

  struct Links {
    CallResource** link = nullptr;  // the pointer to this on the scope's list
    CallResource* next = nullptr;
  };
  Links links_;
};

class VORMEL_HOST_API CallScope {
 public:
  CallScope() noexcept;
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

  // The innermost scope of the thread, or null outside any call.
  static CallScope* current() noexcept;

  // Removes an array from the list that it is on, if any. Null is ignored.
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
