#include "embedded_host/functions/own_process.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <string>

#include "embedded_host/functions/claimed_directory.h"
#include "embedded_host/functions/private_directory.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

constexpr std::uint32_t kOwn = 1;

// The mark as long as forks do not matter, and for ever where the kernel clears no memory in
// children: then only the handlers of fork() notice one.
volatile std::uint32_t plainMark = kOwn;

volatile std::uint32_t* mark = &plainMark;
pid_t owner = 0;
bool wasForked = false;  // and the handlers ran
bool isGuest = false;    // of a parent that has claimed a directory

std::mutex forkMutex;  // held while a fork is under way, as is this:
bool wasOwn = false;   // whether the forking process was

// A page of its own that reads as zeros in every child. Null if there is none.
volatile std::uint32_t* makeClearedMark() noexcept {
  const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) return nullptr;
  if (madvise(page, size, MADV_WIPEONFORK) != 0) {
    munmap(page, size);
    return nullptr;
  }
  auto* made = static_cast<volatile std::uint32_t*>(page);
  *made = kOwn;
  return made;
}

void beforeFork() {
  forkMutex.lock();
  wasOwn = isOwnProcess();
  ClaimedDirectory::instance().beforeFork();
  PrivateDirectory::instance().beforeFork(wasOwn);
}

void inParent() {
  PrivateDirectory::instance().inParent();
  ClaimedDirectory::instance().inParent();
  forkMutex.unlock();
}

// System calls and plain memory alone: other threads of the parent may have held any lock.
void inChild() {
  const bool isApart = PrivateDirectory::instance().inChild();
  const bool isUnclaimed = ClaimedDirectory::instance().inChild();
  const bool isOwn = wasOwn && isApart;
  *mark = isOwn && isUnclaimed ? kOwn : 0;
  isGuest = isOwn && !isUnclaimed;
  if (isOwn) owner = getpid();
  wasForked = true;
  forkMutex.unlock();
}

}  // namespace

std::atomic<const volatile std::uint32_t*> ownProcessMark = &plainMark;

bool isOwnProcess() noexcept { return (*mark == kOwn || isGuest) && owner == getpid(); }

void endGuestStay() noexcept {
  if (isGuest && owner == getpid()) *mark = kOwn;
}

void requireGuestMayGoOn() {
  if (isOwnProcess() && !ClaimedDirectory::instance().hasFile()) return;
  const std::string shared = ClaimedDirectory::instance().path();
  std::string why = "This process was made without the handlers of fork()";
  if (wasForked) why = "This process was forked, and its scratch file could not be kept apart";
  if (!shared.empty()) {
    why = "This process was forked from one that keeps its scratch file in " + shared +
          ", where \"tempdir\" was replaced";
  }
  throw CallRefused("Forked", why +
                                  ". Start a new program instead (exec, or \"spawn\" of Python's "
                                  "multiprocessing), or fork before the first scratch file is "
                                  "made; the host's own \"tempdir\" can be shared by a fork.");
}

void watchForks() {
  static bool isWatching = false;
  const std::lock_guard lock(forkMutex);
  if (isWatching) return;
  const int error = pthread_atfork(beforeFork, inParent, inChild);
  if (error != 0) {
    throw HostError("ForksNotWatched",
                    std::string("Cannot watch for forks: ") + std::strerror(error));
  }
  isWatching = true;
  owner = getpid();
  if (volatile std::uint32_t* cleared = makeClearedMark()) mark = cleared;
  ownProcessMark = mark;
}

}  // namespace vormel
