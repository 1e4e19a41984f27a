// The directory for scratch files that nobody else can enter.
//
// It is made when it is first asked for, under $TMPDIR or else /tmp, and removed with its content
// at the exit of the process that made it; what a killed process leaves behind goes when the next
// host starts (locked_directory.h). A descriptor holds it, and the path handed out goes through
// that descriptor: it leads into this directory wherever that was moved to, whatever stands in its
// place and whatever the working directory is.
//
// fork() gives the child a directory of its own under the same path: the descriptor keeps its
// number and leads to another directory, in which each regular file is a hard link to the parent's.
// Who writes such a file makes a copy first (embedded_host/files/sole_name.h). If there is no file
// yet, or the links cannot be made, the child has no directory until it asks for one, and all paths
// below the old one fail.
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

  // Its path, ending in a separator: "/proc/self/fd/N/", with the same N as long as nobody else
  // closes that descriptor, or where /proc is not mounted the plain path. A directory that is gone
  // is replaced by a new one. Throws HostError("NoTemporaryDirectory") if it cannot be made. For a
  // process that owns its files and watches forks (forks.h).
  std::string path();

  // True if `path` is the one handed out last; if the directory is the one of that identity.
  bool isPath(const std::string& path) const;
  bool isAt(const Identity& identity) const;

  // Removes directories of dead processes beside this one, forked children among them.
  void removeDeadBeside() noexcept;

  // Around a fork, in this order. `isChildToGoOn`: the child is given a directory, if there is one.
  void beforeFork(bool isChildToGoOn) noexcept;
  void inParent() noexcept;
  // False if paths handed out may still lead into the parent's directory. Makes system calls alone.
  bool inChild() noexcept;

 private:
  PrivateDirectory() = default;
  static void removeAtExit() noexcept;
  LockedDirectory make();
  void hold(LockedDirectory made);
  std::string usablePath();
  bool isNumberOwn() const noexcept;
  bool takeChilds() noexcept;
  bool takeNothing() noexcept;

  mutable std::mutex mutex_;
  std::optional<LockedDirectory> directory_;
  std::optional<LockedDirectory> childs_;  // while a fork is under way
  int number_ = -1;                        // N
  Identity atNumber_;                      // of what the process put there
  std::string path_;
  bool isPlainPath_ = false;
  bool isExiting_ = false;
  unsigned childCount_ = 0;  // directories made for children
};

}  // namespace vormel
