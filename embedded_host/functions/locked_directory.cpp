#include "embedded_host/functions/locked_directory.h"

#include <sys/file.h>
#include <sys/random.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace vormel {
namespace {

constexpr std::string_view namePrefix = "vormel-private-";
constexpr std::size_t randomCharacterCount = 6;
constexpr int maxAttempts = 100;
constexpr std::string_view nameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

bool isNameOfPrivateDirectory(std::string_view name) noexcept {
  return name.size() == namePrefix.size() + randomCharacterCount && name.starts_with(namePrefix) &&
         name.find_first_not_of(nameCharacters, namePrefix.size()) == name.npos;
}

bool fillAtRandom(char* first, std::size_t count) noexcept {
  std::uint8_t bytes[randomCharacterCount];
  if (getrandom(bytes, count, 0) != static_cast<ssize_t>(count)) return false;
  for (std::size_t i = 0; i < count; ++i)
    first[i] = nameCharacters[bytes[i] % nameCharacters.size()];
  return true;
}

// True for a directory that the user owns and no other user can enter.
bool isPrivate(int directory) noexcept {
  struct stat status;
  return fstat(directory, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & 0777) == 0700;
}

bool isAt(int parent, const char* name, const Identity& identity) noexcept {
  struct stat status;
  return fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && identityOf(status) == identity;
}

// Removes an empty directory from its parent, under `name` or the name that it has by now.
void removeFromParent(int directory, const Identity& identity, const char* name) noexcept {
  const Descriptor parent(openat(directory, "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!parent) return;
  if (isAt(parent.number(), name, identity)) {
    unlinkat(parent.number(), name, AT_REMOVEDIR);
    return;
  }
  forEachEntry(parent.number(), [&](const char* entry) {
    return !isAt(parent.number(), entry, identity) ||
           unlinkat(parent.number(), entry, AT_REMOVEDIR) != 0;
  });
}

void removeIfDead(int parent, const char* name) noexcept {
  const Descriptor directory = openDirectory(parent, name);
  if (!directory || !isPrivate(directory.number())) return;
  if (flock(directory.number(), LOCK_EX | LOCK_NB) != 0) return;
  removeEntries(directory.number());
  removeFromParent(directory.number(), *identityOf(directory.number()), name);
}

}  // namespace

std::optional<LockedDirectory> LockedDirectory::makeIn(int parent) noexcept {
  for (int attempt = 0; attempt < maxAttempts; ++attempt) {
    LockedDirectory made;
    if (!made.make(parent)) return std::nullopt;
    if (made.descriptor_) return made;
  }
  errno = EEXIST;
  return std::nullopt;
}

// True without a descriptor if another name has to be tried: this one is taken, or somebody who
// removes dead processes' directories was faster than the lock.
bool LockedDirectory::make(int parent) noexcept {
  std::memcpy(name_, namePattern, sizeof namePattern);
  if (!fillAtRandom(name_ + namePrefix.size(), randomCharacterCount)) return false;
  if (mkdirat(parent, name_, 0700) != 0) return errno == EEXIST;
  if (open(parent)) return true;
  const int error = errno;
  unlinkat(parent, name_, AT_REMOVEDIR);
  errno = error;
  return false;
}

bool LockedDirectory::open(int parent) noexcept {
  Descriptor directory = openDirectory(parent, name_);
  if (!directory || !isPrivate(directory.number())) {  // the file mode mask may take any bit away
    if (fchmodat(parent, name_, 0700, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    directory = openDirectory(parent, name_);
  }
  if (!directory) return errno == ENOENT;
  if (!isPrivate(directory.number())) {
    errno = EPERM;
    return false;
  }
  // Without locks no process takes this directory for that of a dead process.
  if (flock(directory.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return true;
  const Identity identity = *identityOf(directory.number());
  if (!isAt(parent, name_, identity)) return true;
  identity_ = identity;
  descriptor_ = std::move(directory);
  return true;
}

bool LockedDirectory::takeNumber(int number) noexcept {
  if (dup3(descriptor_.number(), number, O_CLOEXEC) < 0) return false;
  descriptor_ = Descriptor(number);
  return true;
}

bool LockedDirectory::takeFreeNumber(int first) noexcept {
  const int number = fcntl(descriptor_.number(), F_DUPFD_CLOEXEC, first);
  if (number < 0) return false;
  descriptor_ = Descriptor(number);
  return true;
}

bool LockedDirectory::isThere() const noexcept {
  struct stat status;
  return fstat(descriptor_.number(), &status) == 0 && identityOf(status) == identity_ &&
         status.st_nlink > 0 && status.st_uid == geteuid();
}

void LockedDirectory::remove() noexcept {
  if (!isThere()) return;
  removeEntries(descriptor_.number());
  removeFromParent(descriptor_.number(), identity_, name_);
}

void removeDeadDirectories(int parent) noexcept {
  forEachEntry(parent, [&](const char* name) {
    if (isNameOfPrivateDirectory(name)) removeIfDead(parent, name);
    return true;
  });
}

Descriptor openTemporaryDirectory() noexcept {
  return Descriptor(open(temporaryDirectory(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

const char* temporaryDirectory() noexcept {
  const char* directory = std::getenv("TMPDIR");
  return directory != nullptr && *directory != '\0' ? directory : "/tmp";
}

void removeDeadDirectories() noexcept {
  const Descriptor parent = openTemporaryDirectory();
  if (parent) removeDeadDirectories(parent.number());
}

}  // namespace vormel
