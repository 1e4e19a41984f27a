// Forks: a child gets files of its own, or its calls are refused.
//
// The handlers of fork() (pthread_atfork) give a child a private directory of its own, if the
// parent has one (private_directory.h). Where that fails, and in a child made without those
// handlers
// (_Fork, clone), the host refuses every call and the child leaves all files alone, at its exit
// too. A child whose parent has claimed a directory (claimed_directory.h) shares the path of the
// parent's scratch file: its calls are refused while that file is there.
#pragma once

#include "embedded_host/functions/own_process.h"

namespace vormel {

// Installs the handlers of fork(), once; to be called before the first file is made. Throws
// HostError("ForksNotWatched") if memory is exhausted.
void watchForks();

// Returns if the process owns its files, apart from a claimed directory without a file in it; else
// throws CallRefused("Forked").
void requireNoSharedFile();

// The same for every call: a load and a comparison in a process that shares nothing.
inline void requireOwnProcess() {
  if (*ownProcessMark.load(std::memory_order_relaxed) == 0) requireNoSharedFile();
}

}  // namespace vormel
