// The directory that a replaced "tempdir" names. Processes that name the same one would share a
// scratch file there, so it belongs to one process at a time: a lock (flock) on it shows whose.
//
// A forked child cannot be kept apart there: its module knows the path of the parent's file, and
// would remove that file when it cleans. The host refuses calls in such a child while a file is
// there (forks.h).
#pragma once

#include <mutex>
#include <string>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

class ClaimedDirectory {
 public:
  // That of the process.
  static ClaimedDirectory& instance();

  ClaimedDirectory(const ClaimedDirectory&) = delete;
  ClaimedDirectory& operator=(const ClaimedDirectory&) = delete;

  // Claims the directory of the files whose paths begin with `answer`, which "tempdir" gave to a
  // module, and lets go of the one before. The private directory needs no claim; an empty answer
  // changes nothing. What cannot be opened or locked counts as claimed without a lock.
  // For a process that watches forks.
  // Throws HostError("DirectoryInUse") if a living process has it, HostError("DirectoryNotClaimed")
  // if descriptors or memory are exhausted; the claim before stays then.
  void claim(const std::string& answer);

  // The directory, as the answer named it. Empty if none is claimed.
  std::string path() const;

  // A module makes the variable file at `path`. Keeps the path if it leads into the directory.
  void noteFile(const std::string& path);

  // Whether the file that was noted last, or another one under its path, is there.
  bool hasFile() const noexcept;

  // Around a fork, in this order. The last is false if a directory is claimed.
  void beforeFork() noexcept;
  void inParent() noexcept;
  bool inChild() noexcept;

 private:
  ClaimedDirectory() = default;
  void lock(const std::string& directory);

  mutable std::mutex mutex_;
  std::string path_;
  std::string file_;  // in the directory; empty before one is made
  Descriptor locked_;
};

}  // namespace vormel
