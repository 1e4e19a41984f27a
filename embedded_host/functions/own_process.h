// Whether this process owns the files that the host keeps on disk, or was forked from a process
// whose files it would share. forks.h sets the state.
#pragma once

#include <atomic>
#include <cstdint>

namespace vormel {

// Points to a number that is not 0 while calls are allowed without a further test. The kernel
// clears the number in a child.
extern std::atomic<const volatile std::uint32_t*> ownProcessMark;

// Whether the process has a private directory of its own, or may make one.
bool isOwnProcess() noexcept;

// Called when the module has been given another directory than the one that its parent claimed. The
// process shares no claim any more.
void dropSharedClaim() noexcept;

// ---- For forks.cpp ----

// Makes the calling process the owner.
void takeOwnership() noexcept;

// Sets the state of a forked child. `isOwn`: its files are apart from its parent's, except for a
// claimed directory. `sharesClaim`: the parent has claimed a directory. Makes system calls alone.
void enterChild(bool isOwn, bool sharesClaim) noexcept;

// Whether enterChild was called in this process.
bool wasForked() noexcept;

}  // namespace vormel
