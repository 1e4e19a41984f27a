#include "recording/new_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "recording/recording.h"

namespace kvr::recording {
namespace {

constexpr std::string_view suffix = ".new";
constexpr std::size_t digits = 16;

[[noreturn]] void failWith(int number) { throw SystemError(number, std::generic_category()); }

void require(bool isDone) {
  if (!isDone) failWith(errno);
}

struct Free {
  void operator()(char* text) const { std::free(text); }
};

// Where the links lead, also to a place where there is nothing yet.
std::string followed(std::string path) {
  constexpr int mostLinks = 40;
  for (int links = 0; links < mostLinks; ++links) {
    const std::unique_ptr<char, Free> real(realpath(path.c_str(), nullptr));
    if (real) return real.get();
    if (errno == ENOMEM) throw std::bad_alloc();
    if (errno != ENOENT) failWith(errno);
    std::error_code isNoLink;
    const std::filesystem::path next = std::filesystem::read_symlink(path, isNoLink);
    if (isNoLink) return path;
    path = (std::filesystem::path(path).parent_path() / next).string();
  }
  failWith(ELOOP);
}

// Renames it unless something has the other name. False, and nothing is done, if something has.
bool renameToFree(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  require(errno == EINVAL || errno == ENOSYS);  // a file system that cannot
  struct stat status {};
  if (lstat(to.c_str(), &status) == 0) return false;
  require(rename(from.c_str(), to.c_str()) == 0);
  return true;
}

std::string unforeseeable() {
  std::array<unsigned char, digits / 2> random{};
  require(getrandom(random.data(), random.size(), 0) == static_cast<ssize_t>(random.size()));
  std::string text;
  for (const unsigned char byte : random) {
    constexpr std::string_view letters = "0123456789abcdef";
    text += letters[byte >> 4];
    text += letters[byte & 15];
  }
  return text;
}

// Without changing it, as umask() does: other threads make files meanwhile.
mode_t umaskOfProcess() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    unsigned mask = 0;
    if (std::sscanf(line.c_str(), "Umask: %o", &mask) == 1) return mask;
  }
  return 077;
}

bool isUnfinished(std::string_view name, std::string_view prefix) {
  if (name.size() != prefix.size() + digits + suffix.size()) return false;
  if (!name.starts_with(prefix) || !name.ends_with(suffix)) return false;
  const std::string_view middle = name.substr(prefix.size(), digits);
  return std::all_of(middle.begin(), middle.end(), [](char letter) {
    return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
  });
}

}  // namespace

NewFile::NewFile(const std::string& target) {
  if (target.find('\0') != std::string::npos) throw std::invalid_argument("the path has a NUL");
  if (target.empty()) failWith(ENOENT);
  target_ = followed(target);
  struct stat status {};
  if (stat(target_.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    failWith(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  const std::size_t slash = target_.rfind('/');
  folder_ = slash == std::string::npos ? "." : target_.substr(0, slash + 1);
  if (slash == target_.size() - 1) failWith(EISDIR);
  sweep();
  create();
}

NewFile::~NewFile() {
  if (descriptor_ < 0) return;
  unlink(path_.c_str());
  close(descriptor_);
}

std::string NewFile::prefix() const {
  const std::string name = target_.substr(target_.rfind('/') + 1);
  return "." + name.substr(0, 200) + ".";
}

void NewFile::create() {
  for (;;) {
    const std::string path = folder_ + "/" + prefix() + unforeseeable() + std::string(suffix);
    const int file =
        open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (file < 0 && errno == EEXIST) continue;
    require(file >= 0);
    descriptor_ = file;
    path_ = path;
    flock(file, LOCK_EX | LOCK_NB);  // without locks nothing is removed either
    struct stat status {};
    require(fstat(file, &status) == 0);
    if (status.st_nlink == 1) return;
    close(file);  // another process removed it before the lock
    descriptor_ = -1;
  }
}

// A file that is not locked belongs to no living process.
void NewFile::sweep() const {
  struct Close {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  const std::unique_ptr<DIR, Close> folder(opendir(folder_.c_str()));
  if (!folder) {
    if (errno == EACCES) return;  // not readable, but perhaps writable
    failWith(errno);
  }
  while (const dirent* entry = readdir(folder.get())) {
    if (!isUnfinished(entry->d_name, prefix())) continue;
    const int file =
        openat(dirfd(folder.get()), entry->d_name, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) continue;
    struct stat status {};
    const bool isOurs =
        fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
    if (isOurs && flock(file, LOCK_EX | LOCK_NB) == 0)
      unlinkat(dirfd(folder.get()), entry->d_name, 0);
    close(file);
  }
}

bool NewFile::targetExists() const {
  struct stat status {};
  return lstat(target_.c_str(), &status) == 0;
}

bool NewFile::publish(Existing existing) {
  struct stat status {};
  const bool replaces = stat(target_.c_str(), &status) == 0;
  const mode_t mode = replaces ? status.st_mode & 0777 : 0666 & ~umaskOfProcess();
  require(fchmod(descriptor_, mode) == 0);
  require(fsync(descriptor_) == 0);
  if (existing == Existing::kKeep) {
    if (!renameToFree(path_, target_)) return false;
  } else {
    require(rename(path_.c_str(), target_.c_str()) == 0);
  }
  close(descriptor_);
  descriptor_ = -1;
  const int folder = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return true;  // may be written, not read
  const int result = fsync(folder);
  const int number = errno;
  close(folder);
  if (result != 0 && number != EINVAL) failWith(number);  // EINVAL: it is on no disk
  return true;
}

}  // namespace kvr::recording
