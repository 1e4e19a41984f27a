#include "embedded_host/files/file_opening.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

#include "embedded_host/files/file_layout.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/functions/claimed_directory.h"
#include "embedded_host/functions/private_directory.h"

namespace vormel {
namespace {

// ---- Files with several names ----

[[noreturn]] void fail(const char* what) {
  throw FileFault(std::string(what) + ": " + std::strerror(errno));
}

bool isHardLinked(const std::string& path) noexcept {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 1;
}

bool writeAll(int target, const char* bytes, std::size_t count) noexcept {
  while (count > 0) {
    const ssize_t written = write(target, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

// For file systems that copy_file_range does not serve.
bool copyByBytes(int source, int target) noexcept {
  char buffer[1 << 16];
  for (;;) {
    const ssize_t count = read(source, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    if (!writeAll(target, buffer, static_cast<std::size_t>(count))) return false;
  }
}

bool copyContent(int source, int target) noexcept {
  constexpr std::size_t most = std::size_t{1} << 30;
  for (;;) {
    const ssize_t count = copy_file_range(source, nullptr, target, nullptr, most, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) return true;
    if (count > 0) continue;
    const bool isFull = errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == EIO;
    return !isFull && copyByBytes(source, target);
  }
}

bool haveEqualSizes(int source, int target) noexcept {
  struct stat first;
  struct stat second;
  return fstat(source, &first) == 0 && fstat(target, &second) == 0 &&
         first.st_size == second.st_size;
}

// A new file that replaces another one, or is removed.
class ReplacementFile {
 public:
  explicit ReplacementFile(std::string path) : path_(std::move(path)) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    unlink(path_.c_str());  // a process that was killed while copying may have left it
    descriptor_ = Descriptor(open(path_.c_str(), flags, 0600));
    if (!descriptor_) fail("cannot make a copy of the file");
    isPending_ = true;
  }
  ~ReplacementFile() {
    if (isPending_) unlink(path_.c_str());
  }
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  int descriptor() const noexcept { return descriptor_.number(); }
  void replace(const std::string& path) {
    if (std::rename(path_.c_str(), path.c_str()) != 0) fail("cannot replace the file by its copy");
    isPending_ = false;
  }

 private:
  std::string path_;
  Descriptor descriptor_;
  bool isPending_ = false;
};

void replaceByCopy(const std::string& path) {
  const Descriptor source(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!source) fail("cannot read the file to copy it");
  ReplacementFile copy(path + "-copy");
  const bool isCopied = fchmod(copy.descriptor(), 0600) == 0 &&
                        copyContent(source.number(), copy.descriptor()) &&
                        haveEqualSizes(source.number(), copy.descriptor());
  if (!isCopied) fail("cannot copy the file");
  copy.replace(path);
}

// Makes `path` the only name of its file, so that the file may be changed. Does nothing if there is
// no regular file. Throws FileFault if the copy cannot be made; the file is unchanged then.
void copyIfHardLinked(const std::string& path) {
  if (!isHardLinked(path)) return;
  PrivateDirectory::instance().removeDeadBeside();  // the other name may belong to a dead child
  if (isHardLinked(path)) replaceByCopy(path);
}

// ---- Opening ----

Descriptor openPath(const char* path, int flags) {
  // O_NONBLOCK: opening a pipe must not wait. O_NOFOLLOW: the last name of the path is not a link.
  Descriptor descriptor(open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600));
  if (!descriptor) throw FileFault(std::strerror(errno));
  return descriptor;
}

void fillNewFile(AtomicFile& file) {
  try {
    const std::string empty = emptyFile();
    file.fill(empty.data(), empty.size());
  } catch (const std::system_error& error) {
    throw FileFault(error.what());
  }
}

AtomicFile makeFile(const char* path) {
  ClaimedDirectory::instance().noteFile(path);
  if (unlink(path) != 0 && errno != ENOENT) throw FileFault(std::strerror(errno));
  Descriptor descriptor = openPath(path, O_RDWR | O_CREAT | O_EXCL);
  try {
    // The umask may have removed permissions of the owner.
    if (fchmod(descriptor.number(), 0600) != 0) throw FileFault(std::strerror(errno));
    AtomicFile file(std::move(descriptor), true);
    fillNewFile(file);
    return file;
  } catch (...) {
    unlink(path);
    throw;
  }
}

void requireRegular(const Descriptor& descriptor) {
  struct stat status;
  if (fstat(descriptor.number(), &status) != 0) throw FileFault(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) throw FileFault("it is not a regular file");
}

AtomicFile openFile(const char* path, bool isForWriting) {
  Descriptor descriptor = openPath(path, isForWriting ? O_RDWR : O_RDONLY);
  requireRegular(descriptor);
  AtomicFile file(std::move(descriptor), isForWriting);
  std::array<std::byte, AtomicFile::pageSize> firstPage;
  file.begin();
  file.read(0, firstPage.size(), firstPage.data());
  file.end();
  requireVariableFile(firstPage);
  return file;
}

}  // namespace

AtomicFile openVariableFile(const char* path, std::string_view mode) {
  if (mode == "w7.3") return makeFile(path);
  if (mode == "u") {
    copyIfHardLinked(path);
    return openFile(path, true);
  }
  if (mode == "r") return openFile(path, false);
  throw FileFault("unknown mode");
}

}  // namespace vormel
