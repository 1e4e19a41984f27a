// One thread at a time: the claim that a thread has on the host while it is inside.
//
//   const HostEntry entry;   // in whatever runs a module's code, or the host's own
//
// A thread is inside from its first entry to the end of its last; entries nest. What another thread
// asks of the host meanwhile is refused, but for one thing that cannot be: letting go of a handle.
// Handles that threads let go of from outside wait until the thread inside leaves, and end then
// (destruction.cpp).
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

// Makes sure that the calling thread has the memory that the C++ library takes when it throws on
// that thread for the first time, and knows where its stack ends. False if there is no memory; may
// be called again. Without it the library would end the process there. Every entry does this by
// itself; callers that cannot let an exception pass do it before.
VORMEL_HOST_API bool prepareThread() noexcept;

// Whether the calling thread is inside.
VORMEL_HOST_API bool isInside() noexcept;

// Has the handles that wait end, if no other thread is inside and this one can enter.
void endWaitingHandlesIfFree() noexcept;

}  // namespace vormel
