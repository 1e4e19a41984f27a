// A directory that one living process has for itself: named "vormel-private-" and six characters,
// mode 0700, held by a descriptor with a lock (flock) on it. The lock ends with the process,
// however that ends; a directory of that name whose lock can be had is a dead process's.
#pragma once

#include <optional>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

class LockedDirectory {
 public:
  // Makes one in the directory `parent`. Nothing if that cannot be done; errno says why.
  static std::optional<LockedDirectory> makeIn(int parent) noexcept;

  // The last component of its path, as it was made.
  const char* name() const noexcept { return name_; }
  Identity identity() const noexcept { return identity_; }
  int descriptor() const noexcept { return descriptor_.number(); }

  // Has its descriptor take the number of an open one, in place of what that led to. False if it
  // failed; errno says why. Makes system calls alone: a forked child may call it.
  bool takeNumber(int number) noexcept;
  // The same with the lowest free number from `first` on.
  bool takeFreeNumber(int first) noexcept;

  // True if the directory is still there, is the user's own, and the descriptor leads to it.
  bool isThere() const noexcept;

  // Removes the directory with its content, wherever it was moved to. What stands in its place in
  // the meantime is left alone.
  void remove() noexcept;

  // Lets go of the descriptor without closing it: its number leads to something else by now.
  void abandon() noexcept { descriptor_.release(); }

 private:
  static constexpr char kPattern[] = "vormel-private-XXXXXX";

  LockedDirectory() = default;
  bool make(int parent) noexcept;
  bool open(int parent) noexcept;

  Descriptor descriptor_;
  Identity identity_;
  char name_[sizeof kPattern] = {};
};

// Removes the directories in `parent` that dead processes of the same user left behind. Whatever
// fails is left to the next time.
void removeDeadDirectories(int parent) noexcept;

// The directory for temporary files: $TMPDIR, or /tmp if that is unset or empty. Not made absolute.
const char* temporaryDirectory() noexcept;

// That directory, for paths relative to it alone. Without a descriptor if it cannot be opened;
// errno says why.
Descriptor openTemporaryDirectory() noexcept;

// Removes what dead processes left behind there.
void removeDeadDirectories() noexcept;

}  // namespace vormel
