#include "embedded_host/functions/forks.h"

#include <pthread.h>

#include <cstring>
#include <mutex>
#include <string>

#include "embedded_host/functions/claimed_directory.h"
#include "embedded_host/functions/private_directory.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

std::mutex forkMutex;        // held from the first handler of a fork to the last, as is this:
bool wasOwnProcess = false;  // whether the forking process owned its files

void beforeFork() {
  forkMutex.lock();
  wasOwnProcess = isOwnProcess();
  ClaimedDirectory::instance().beforeFork();
  PrivateDirectory::instance().beforeFork(wasOwnProcess);
}

void inParent() {
  PrivateDirectory::instance().inParent();
  ClaimedDirectory::instance().inParent();
  forkMutex.unlock();
}

// Makes system calls and writes plain memory alone: another thread of the parent may hold any lock.
void inChild() {
  const bool isApart = PrivateDirectory::instance().inChild();
  const bool isUnclaimed = ClaimedDirectory::instance().inChild();
  enterChild(wasOwnProcess && isApart, !isUnclaimed);
  forkMutex.unlock();
}

}  // namespace

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
  takeOwnership();
}

void requireNoSharedFile() {
  if (isOwnProcess() && !ClaimedDirectory::instance().hasFile()) return;
  const std::string shared = ClaimedDirectory::instance().path();
  std::string why = "This process was made without the handlers of fork()";
  if (wasForked()) why = "This process was forked, and its scratch file could not be kept apart";
  if (!shared.empty()) {
    why = "This process was forked from one that keeps its scratch file in " + shared +
          ", where \"tempdir\" was replaced";
  }
  throw CallRefused("Forked", why +
                                  ". Start a new program instead (exec, or \"spawn\" of Python's "
                                  "multiprocessing), or fork before the first scratch file is "
                                  "made; the host's own \"tempdir\" can be shared by a fork.");
}

}  // namespace vormel
