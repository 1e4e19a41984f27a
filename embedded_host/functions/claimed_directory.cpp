#include "embedded_host/functions/claimed_directory.h"

#include <sys/file.h>

#include <cstring>
#include <utility>

#include "embedded_host/functions/own_process.h"
#include "embedded_host/functions/private_directory.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

// The directory of the files whose paths begin with the answer. Paths end at a NUL.
std::string directoryOf(const std::string& answer) {
  const std::string path = answer.substr(0, answer.find('\0'));
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

bool isExhausted(int error) noexcept {
  return error == EMFILE || error == ENFILE || error == ENOMEM;
}

[[noreturn]] void failExhausted(const std::string& directory, int error) {
  throw HostError("DirectoryNotClaimed",
                  "Cannot claim " + directory + " for the scratch file: " + std::strerror(error));
}

[[noreturn]] void failInUse(const std::string& directory) {
  throw HostError("DirectoryInUse",
                  "Another process has its scratch file in " + directory +
                      " and is still running. Have \"tempdir\" name another directory.");
}

}  // namespace

ClaimedDirectory& ClaimedDirectory::instance() {
  // Never destroyed: code that runs at exit needs it.
  static auto& directory = *new ClaimedDirectory;
  return directory;
}

void ClaimedDirectory::claim(const std::string& answer) {
  if (answer.empty()) return;
  std::string directory = directoryOf(answer);
  const std::lock_guard guard(mutex_);
  if (PrivateDirectory::instance().isPath(directory)) {
    directory.clear();
    locked_ = Descriptor();
  } else {
    lock(directory);
  }
  const bool isOther = path_ != directory;
  if (isOther) file_.clear();
  path_ = std::move(directory);
  if (isOther || locked_) dropSharedClaim();
}

void ClaimedDirectory::noteFile(const std::string& path) {
  const std::lock_guard guard(mutex_);
  if (!path_.empty() && path.compare(0, path_.size(), path_) == 0) file_ = path;
}

bool ClaimedDirectory::hasFile() const noexcept {
  const std::lock_guard guard(mutex_);
  struct stat status;
  return !file_.empty() && lstat(file_.c_str(), &status) == 0;
}

void ClaimedDirectory::lock(const std::string& directory) {
  Descriptor opened =
      aboveStandardStreams(Descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  if (!opened && isExhausted(errno)) failExhausted(directory, errno);
  const std::optional<Identity> identity = identityOf(opened.number());
  if (identity && identity == identityOf(locked_.number())) return;
  if (opened && flock(opened.number(), LOCK_EX | LOCK_NB) != 0) {
    const bool isHeld = errno == EWOULDBLOCK && !PrivateDirectory::instance().isAt(*identity);
    if (isHeld) failInUse(directory);
    opened = Descriptor();
  }
  locked_ = std::move(opened);
}

std::string ClaimedDirectory::path() const {
  const std::lock_guard guard(mutex_);
  return path_;
}

void ClaimedDirectory::beforeFork() noexcept { mutex_.lock(); }

void ClaimedDirectory::inParent() noexcept { mutex_.unlock(); }

// The parent keeps the lock.
bool ClaimedDirectory::inChild() noexcept {
  locked_ = Descriptor();
  mutex_.unlock();
  return path_.empty();
}

}  // namespace vormel
