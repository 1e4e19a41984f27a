#include "embedded_host/functions/private_directory.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "embedded_host/functions/own_process.h"
#include "embedded_host/messages/host_exception.h"

namespace vormel {
namespace {

// Killed children leave their directories behind. The parent removes them once for so many
// children.
constexpr unsigned childrenBetweenSweeps = 16;

[[noreturn]] void failToMake(int error) {
  throw HostError("NoTemporaryDirectory", std::string("Cannot make a private directory in ") +
                                              temporaryDirectory() + ": " + std::strerror(error));
}

Descriptor openParent(const LockedDirectory& directory) noexcept {
  return Descriptor(openat(directory.descriptor(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
}

std::string pathThrough(int number) { return "/proc/self/fd/" + std::to_string(number) + '/'; }

bool leadsTo(const std::string& path, const Identity& identity) noexcept {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && identityOf(status) == identity;
}

std::string plainPath(const char* name) {
  struct Free {
    void operator()(char* text) const noexcept { std::free(text); }
  };
  const std::unique_ptr<char, Free> parent(realpath(temporaryDirectory(), nullptr));
  if (!parent) failToMake(errno);
  return std::string(parent.get()) + '/' + name + '/';
}

// Makes a directory beside the given one with a hard link to each regular file in it. Empty if
// there is no such file, or if a link cannot be made.
std::optional<LockedDirectory> snapshotOf(const LockedDirectory& directory) noexcept {
  std::optional<LockedDirectory> copy;
  const bool isComplete = forEachEntry(directory.descriptor(), [&](const char* name) {
    struct stat status;
    if (fstatat(directory.descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) return false;
    if (!S_ISREG(status.st_mode)) return true;
    if (!copy) copy = LockedDirectory::makeIn(openParent(directory).number());
    return copy && linkat(directory.descriptor(), name, copy->descriptor(), name, 0) == 0;
  });
  if (isComplete || !copy) return copy;
  copy->remove();
  return std::nullopt;
}

}  // namespace

PrivateDirectory& PrivateDirectory::instance() {
  // Never destroyed: code that runs at exit needs it.
  static auto& directory = *new PrivateDirectory;
  return directory;
}

std::string PrivateDirectory::path() {
  const std::lock_guard lock(mutex_);
  if (!directory_ || !directory_->isThere()) {
    path_.clear();
    hold(make());
  }
  if (path_.empty()) path_ = usablePath();
  return path_;
}

LockedDirectory PrivateDirectory::make() {
  if (isExiting_) throw HostError("NoTemporaryDirectory", "The process is about to end.");
  static const bool isRemovedAtExit = std::atexit(removeAtExit) == 0;
  if (!isRemovedAtExit) failToMake(ENOMEM);
  const Descriptor parent = openTemporaryDirectory();
  if (!parent) failToMake(errno);
  removeDeadDirectories(parent.number());
  std::optional<LockedDirectory> made = LockedDirectory::makeIn(parent.number());
  if (!made) failToMake(errno);
  return std::move(*made);
}

// Moves the new directory to the number of the former one, so that paths returned before lead to
// it. If other code has closed that number, it may be in use by now; a free number is taken then.
void PrivateDirectory::hold(LockedDirectory made) {
  constexpr int first = STDERR_FILENO + 1;
  const bool hasNumber =
      isNumberOwn() ? made.takeNumber(number_) : made.takeFreeNumber(std::max(number_, first));
  if (!hasNumber) {
    const int error = errno;
    made.remove();
    failToMake(error);
  }
  if (directory_) directory_->abandon();
  number_ = made.descriptor();
  numberIdentity_ = made.identity();
  directory_ = std::move(made);
}

bool PrivateDirectory::isNumberOwn() const noexcept {
  return number_ >= 0 && identityOf(number_) == numberIdentity_;
}

std::string PrivateDirectory::usablePath() {
  std::string path = pathThrough(number_);
  isPlainPath_ = !leadsTo(path, numberIdentity_);
  if (isPlainPath_) path = plainPath(directory_->name());
  if (!leadsTo(path, numberIdentity_)) failToMake(ENOENT);
  return path;
}

bool PrivateDirectory::isPath(const std::string& path) const {
  const std::lock_guard lock(mutex_);
  return !path_.empty() && path == path_;
}

bool PrivateDirectory::isAt(const Identity& identity) const {
  const std::lock_guard lock(mutex_);
  return directory_ && directory_->identity() == identity;
}

void PrivateDirectory::removeDeadBeside() noexcept {
  const std::lock_guard lock(mutex_);
  const Descriptor parent = directory_ ? openParent(*directory_) : Descriptor();
  if (parent) removeDeadDirectories(parent.number());
}

void PrivateDirectory::removeAtExit() noexcept {
  PrivateDirectory& self = instance();
  const std::lock_guard lock(self.mutex_);
  self.isExiting_ = true;
  if (!isOwnProcess() || !self.directory_ || !self.directory_->isThere()) return;
  const Descriptor parent = openParent(*self.directory_);
  self.directory_->remove();
  if (parent && self.childCount_ > 0) removeDeadDirectories(parent.number());
}

// ---- Forks ----

void PrivateDirectory::beforeFork(bool isForChild) noexcept {
  mutex_.lock();
  if (!isForChild || !directory_ || isPlainPath_ || !directory_->isThere()) return;
  childDirectory_ = snapshotOf(*directory_);
  if (!childDirectory_ || ++childCount_ % childrenBetweenSweeps != 0) return;
  const Descriptor parent = openParent(*directory_);
  if (parent) removeDeadDirectories(parent.number());
}

// From here on only the child holds the lock on its directory.
void PrivateDirectory::inParent() noexcept {
  childDirectory_.reset();
  mutex_.unlock();
}

bool PrivateDirectory::inChild() noexcept {
  const bool isOwnNumber = isNumberOwn();
  if (directory_) directory_->abandon();
  directory_ = std::exchange(childDirectory_, std::nullopt);
  const bool isApart =
      !isOwnNumber || (directory_ ? installChildDirectory() : installPlaceholder());
  childCount_ = 0;
  mutex_.unlock();
  return isApart && !isPlainPath_;
}

bool PrivateDirectory::installChildDirectory() noexcept {
  if (!directory_->takeNumber(number_)) {
    close(number_);
    return false;
  }
  numberIdentity_ = directory_->identity();
  return true;
}

// Occupies the number with a socket: paths through it fail, and no other file can get the number.
bool PrivateDirectory::installPlaceholder() noexcept {
  close(number_);
  Descriptor placeholder(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!placeholder) return false;
  if (placeholder.number() == number_) {
    placeholder.release();
  } else if (dup3(placeholder.number(), number_, O_CLOEXEC) < 0) {
    return false;
  }
  numberIdentity_ = *identityOf(number_);
  return true;
}

}  // namespace vormel
