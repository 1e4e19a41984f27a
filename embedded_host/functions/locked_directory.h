// A directory that belongs to one living process. Its name is "vormel-private-" and six random
// characters, its mode 0700, and the process holds a lock (flock) on a descriptor of it. The lock
// ends with the process in any case: a directory of such a name that can be locked belonged to a
// process that is dead.
#pragma once

#include <optional>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

class LockedDirectory {
 public:
  // Makes one in the directory `parent`. Empty if that fails; errno says why.
  static std::optional<LockedDirectory> makeIn(int parent) noexcept;

  // The last component of its path when it was made.
  const char* name() const noexcept { return name_; }
  Identity identity() const noexcept { return identity_; }
  int descriptor() const noexcept { return descriptor_.number(); }

  // Moves the descriptor to a number that is open, and closes what was open there. False if that
  // fails; errno says why. Makes system calls only: a forked child may call it.
  bool takeNumber(int number) noexcept;
  // Moves the descriptor to the lowest free number from `first` on.
  bool takeFreeNumber(int first) noexcept;

  // True if the directory exists, belongs to the user, and the descriptor leads to it.
  bool isThere() const noexcept;

  // Removes the directory with its content, also after it was renamed. Another file under its
  // former name is not touched.
  void remove() noexcept;

  // Gives up the descriptor without closing it, for a number that leads to something else by now.
  void abandon() noexcept { descriptor_.release(); }

 private:
  static constexpr char namePattern[] = "vormel-private-XXXXXX";

  LockedDirectory() = default;
  bool make(int parent) noexcept;
  bool open(int parent) noexcept;

  Descriptor descriptor_;
  Identity identity_;
  char name_[sizeof namePattern] = {};
};

// Removes the directories in `parent` that dead processes of the same user left behind. Failures
// are ignored; the next call tries again.
void removeDeadDirectories(int parent) noexcept;

// The directory for temporary files: $TMPDIR, or /tmp if that is unset or empty. Not made absolute.
const char* temporaryDirectory() noexcept;

// A descriptor of that directory (O_PATH), for relative paths. Empty if that fails; errno says why.
Descriptor openTemporaryDirectory() noexcept;

// Removes what dead processes left behind in that directory.
void removeDeadDirectories() noexcept;

}  // namespace vormel
