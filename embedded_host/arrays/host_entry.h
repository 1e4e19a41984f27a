// One thread at a time: the lock that a thread holds on the host while it is inside.
//
//   const HostEntry entry;   // in every function that runs code of a module or of the host
//
// A thread is inside from its outermost entry to the end of that entry; entries nest. Entries of
// other threads are refused meanwhile. The destruction of a handle cannot be refused: from outside
// it is deferred until the thread inside leaves (destruction.cpp).
#pragma once

#include "kvrntob/host/export.h"

namespace vormel {

class VORMEL_HOST_API HostEntry {
 public:
  // Enters. Throws, in this order; nothing has changed then:
  //   ntob::TOBOutOfMemoryException  prepareThread() fails
  //   CallRefused("TooDeep")         little of the thread's stack is left
  //   CallRefused("Busy")            another thread is inside
  HostEntry();
  ~HostEntry();
  HostEntry(const HostEntry&) = delete;
  HostEntry& operator=(const HostEntry&) = delete;
};

// Reserves the memory that the C++ library needs for the first exception of the calling thread, and
// determines the bounds of its stack. False if memory is exhausted; may be called again. Without
// this step the library would end the process when that memory is missing. Every entry prepares its
// thread; callers that must not throw prepare theirs before.
VORMEL_HOST_API bool prepareThread() noexcept;

// Whether the calling thread is inside.
VORMEL_HOST_API bool isInside() noexcept;

// Destroys the deferred handles, if no thread is inside and this one can enter.
void destroyDeferredHandlesIfFree() noexcept;

}  // namespace vormel
