#include "embedded_host/files/sole_name.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "embedded_host/files/file_error.h"
#include "embedded_host/functions/descriptor.h"
#include "embedded_host/functions/private_directory.h"

namespace vormel {
namespace {

[[noreturn]] void fail(const char* what) {
  throw FileFault(std::string(what) + ": " + std::strerror(errno));
}

bool isShared(const std::string& path) noexcept {
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

// Where the file system does not copy by itself.
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

// A file that is removed again unless it takes the place of another.
class NewFile {
 public:
  explicit NewFile(std::string path) : path_(std::move(path)) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    unlink(path_.c_str());  // left by a process that was killed while it copied
    descriptor_ = Descriptor(open(path_.c_str(), flags, 0600));
    if (!descriptor_) fail("cannot make a copy of the file");
    isThere_ = true;
  }
  ~NewFile() {
    if (isThere_) unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  int descriptor() const noexcept { return descriptor_.number(); }
  void replace(const std::string& path) {
    if (std::rename(path_.c_str(), path.c_str()) != 0) fail("cannot replace the file by its copy");
    isThere_ = false;
  }

 private:
  std::string path_;
  Descriptor descriptor_;
  bool isThere_ = false;
};

void replaceByCopy(const std::string& path) {
  const Descriptor source(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!source) fail("cannot read the file to copy it");
  NewFile copy(path + "-copy");
  const bool isCopied = fchmod(copy.descriptor(), 0600) == 0 &&
                        copyContent(source.number(), copy.descriptor()) &&
                        haveEqualSizes(source.number(), copy.descriptor());
  if (!isCopied) fail("cannot copy the file");
  copy.replace(path);
}

}  // namespace

void giveSoleName(const std::string& path) {
  if (!isShared(path)) return;
  PrivateDirectory::instance().removeDeadBeside();  // another name may be a dead child's
  if (isShared(path)) replaceByCopy(path);
}

}  // namespace vormel
