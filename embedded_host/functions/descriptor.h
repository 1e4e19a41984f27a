// File descriptors with an owner, and the identity of what they lead to.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

namespace vormel {

// Closes its descriptor when it ends, and keeps errno as it was.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ < 0) return;
    const int error = errno;
    close(number_);
    errno = error;
  }

  // Negative if there is none.
  int number() const noexcept { return number_; }
  explicit operator bool() const noexcept { return number_ >= 0; }
  int release() noexcept { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

// Two descriptors or paths lead to the same file if these are equal while one of them is open.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const Identity&) const = default;
};

inline Identity identityOf(const struct stat& status) noexcept {
  return {status.st_dev, status.st_ino};
}

// Nothing if the descriptor is not open.
inline std::optional<Identity> identityOf(int descriptor) noexcept {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return std::nullopt;
  return identityOf(status);
}

// Opens a directory to be read, and not a link in its place.
inline Descriptor openDirectory(int parent, const char* name) noexcept {
  return Descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// The same file under a number above those of standard input and output, which programs replace.
inline Descriptor aboveStandardStreams(Descriptor descriptor) noexcept {
  constexpr int first = STDERR_FILENO + 1;
  if (!descriptor || descriptor.number() >= first) return descriptor;
  return Descriptor(fcntl(descriptor.number(), F_DUPFD_CLOEXEC, first));
}

}  // namespace vormel
