// The directory for scratch files, which no other user can enter.
//
// It is made when its path is first requested, in $TMPDIR or else /tmp, and removed with its
// content when the process that made it exits. The next start of a host removes what a killed
// process left behind (locked_directory.h). The host keeps a descriptor of the directory, and the
// path that it returns goes through this descriptor: the path leads into the directory even if the
// directory is renamed, another file takes its name, or the working directory changes.
//
// After fork() the child has a directory of its own under the same path: the descriptor keeps its
// number but leads to another directory, in which each regular file is a hard link to the parent's
// file. Such a file is copied before it is written (embedded_host/files/file_opening.h). If there
// are no files yet, or the links cannot be made, the child has no directory until it requests one,
// and all paths through the descriptor fail.
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "embedded_host/functions/locked_directory.h"

namespace vormel {

class PrivateDirectory {
 public:
  // The directory of the process.
  static PrivateDirectory& instance();

  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  // Its path, ending in a separator: "/proc/self/fd/N/", with the same N unless other code closes
  // that descriptor; the plain path if /proc is not mounted. A directory that no longer exists is
  // replaced by a new one. Throws HostError("NoTemporaryDirectory") if it cannot be made. For a
  // process that owns its files and watches forks (forks.h).
  std::string path();

  // True if `path` is the path returned last; if the directory has that identity.
  bool isPath(const std::string& path) const;
  bool isAt(const Identity& identity) const;

  // Removes directories of dead processes beside this one, forked children among them.
  void removeDeadBeside() noexcept;

  // Around a fork, in this order. `isForChild`: the child gets a directory if the parent has one.
  void beforeFork(bool isForChild) noexcept;
  void inParent() noexcept;
  // False if paths returned before may still lead into the parent's directory. Makes system calls
  // only.
  bool inChild() noexcept;

 private:
  PrivateDirectory() = default;
  static void removeAtExit() noexcept;
  LockedDirectory make();
  void hold(LockedDirectory made);
  std::string usablePath();
  bool isNumberOwn() const noexcept;
  bool installChildDirectory() noexcept;
  bool installPlaceholder() noexcept;

  mutable std::mutex mutex_;
  std::optional<LockedDirectory> directory_;
  std::optional<LockedDirectory> childDirectory_;  // between beforeFork and the other two
  int number_ = -1;                                // N
  Identity numberIdentity_;  // of the file that the process opened under that number
  std::string path_;
  bool isPlainPath_ = false;
  bool isExiting_ = false;
  unsigned childCount_ = 0;  // directories made for children
};

}  // namespace vormel
