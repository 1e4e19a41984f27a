// File descriptors with an owner, the identity of what they lead to, and the entries of an open
// directory, which stay reachable whatever happens to its path.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace vormel {

// Owns a descriptor: the destructor closes it and preserves errno.
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

// Identifies a file. Two descriptors or paths lead to the same file if their identities are equal
// while one of them is open.
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

// Opens a directory for reading. Does not follow a symbolic link.
inline Descriptor openDirectory(int parent, const char* name) noexcept {
  return Descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// The same file under a number above those of the standard streams, which programs reopen.
inline Descriptor aboveStandardStreams(Descriptor descriptor) noexcept {
  constexpr int first = STDERR_FILENO + 1;
  if (!descriptor || descriptor.number() >= first) return descriptor;
  return Descriptor(fcntl(descriptor.number(), F_DUPFD_CLOEXEC, first));
}

// Calls visit(name) for each entry until a call returns false. Entries may be removed meanwhile.
// False if the directory could not be read to its end or a call returned false.
template <class Visit>
bool forEachEntry(int directory, Visit visit) noexcept {
  Descriptor own = openDirectory(directory, ".");  // with a position of its own
  struct Close {
    void operator()(DIR* stream) const noexcept { closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(own ? fdopendir(own.number()) : nullptr);
  if (!stream) return false;
  own.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) return errno == 0;
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !visit(static_cast<const char*>(entry->d_name)))
      return false;
  }
}

// Removes the entries of the directory as far as possible: directories with their content, except
// mount points; symbolic links, but never what they lead to.
void removeEntries(int directory) noexcept;

}  // namespace vormel
