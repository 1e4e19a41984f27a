// Whether this process may touch what the host has on disk, or was forked from a process whose
// files it would share.
//
// pthread_atfork gives a forked child files of its own, where there are any (private_directory.h).
// Where that cannot be had, and in a child made without those handlers (_Fork, clone), the host
// refuses calls, and the child leaves all files alone, as it exits too. A child whose parent has
// claimed a directory is a guest: it is refused while the parent's file is there.
#pragma once

#include <atomic>
#include <cstdint>

namespace vormel {

// Not 0 while the process may go on without being asked. The kernel clears it in a child.
extern std::atomic<const volatile std::uint32_t*> ownProcessMark;

// Returns if the process is a guest and may go on, else throws CallRefused("Forked").
void requireGuestMayGoOn();

// Throws CallRefused("Forked").
inline void requireOwnProcess() {
  if (*ownProcessMark.load(std::memory_order_relaxed) == 0) requireGuestMayGoOn();
}

// Whether the process has a directory of its own, or may have one.
bool isOwnProcess() noexcept;

// A guest's module has been given another directory: it is no guest any more.
void endGuestStay() noexcept;

// Has forks watched from now on; to be called before the first file is made. Throws
// HostError("ForksNotWatched") if memory is exhausted.
void watchForks();

}  // namespace vormel
