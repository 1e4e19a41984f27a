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

// Children that were killed leave their directories behind; after so many they are looked for.
constexpr unsigned kChildrenBetweenSweeps = 16;

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

// A directory beside the given one with a link to each regular file in it. Nothing if there is no
// such file, or if not all can be linked.
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
  // Never destroyed: it is needed as long as anything else is.
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

// Puts the directory under the number of the one before, so that paths handed out lead there. If
// somebody else closed that number it may be theirs by now: then a free one is taken.
void PrivateDirectory::hold(LockedDirectory made) {
  constexpr int first = STDERR_FILENO + 1;
  const bool isTaken =
      isNumberOwn() ? made.takeNumber(number_) : made.takeFreeNumber(std::max(number_, first));
  if (!isTaken) {
    const int error = errno;
    made.remove();
    failToMake(error);
  }
  if (directory_) directory_->abandon();
  number_ = made.descriptor();
  atNumber_ = made.identity();
  directory_ = std::move(made);
}

bool PrivateDirectory::isNumberOwn() const noexcept {
  return number_ >= 0 && identityOf(number_) == atNumber_;
}

std::string PrivateDirectory::usablePath() {
  std::string path = pathThrough(number_);
  isPlainPath_ = !leadsTo(path, atNumber_);
  if (isPlainPath_) path = plainPath(directory_->name());
  if (!leadsTo(path, atNumber_)) failToMake(ENOENT);
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

void PrivateDirectory::beforeFork(bool isChildToGoOn) noexcept {
  mutex_.lock();
  if (!isChildToGoOn || !directory_ || isPlainPath_ || !directory_->isThere()) return;
  childs_ = snapshotOf(*directory_);
  if (!childs_ || ++childCount_ % kChildrenBetweenSweeps != 0) return;
  const Descriptor parent = openParent(*directory_);
  if (parent) removeDeadDirectories(parent.number());
}

// The lock is the child's alone from here on.
void PrivateDirectory::inParent() noexcept {
  childs_.reset();
  mutex_.unlock();
}

bool PrivateDirectory::inChild() noexcept {
  const bool isOwnNumber = isNumberOwn();
  if (directory_) directory_->abandon();
  directory_ = std::exchange(childs_, std::nullopt);
  const bool isApart = !isOwnNumber || (directory_ ? takeChilds() : takeNothing());
  childCount_ = 0;
  mutex_.unlock();
  return isApart && !isPlainPath_;
}

bool PrivateDirectory::takeChilds() noexcept {
  if (!directory_->takeNumber(number_)) {
    close(number_);
    return false;
  }
  atNumber_ = directory_->identity();
  return true;
}

// A socket under the number: paths through it fail, and no other file can come by the number.
bool PrivateDirectory::takeNothing() noexcept {
  close(number_);
  Descriptor nothing(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!nothing) return false;
  if (nothing.number() == number_) {
    nothing.release();
  } else if (dup3(nothing.number(), number_, O_CLOEXEC) < 0) {
    return false;
  }
  atNumber_ = *identityOf(number_);
  return true;
}

}  // namespace vormel
