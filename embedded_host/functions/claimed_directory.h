// The directory that a replaced "tempdir" names. Two processes that use the same directory would
// share a scratch file, so that it belongs to one process at a time: the one that holds a lock
// (flock) on it.
//
// A forked child cannot get a copy of this directory: its module knows the path of the parent's
// file and would remove that file in `clean`. The host refuses calls in such a child while the file
// exists (forks.h).
#pragma once

#include <mutex>
#include <string>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

class ClaimedDirectory {
 public:
  // The one of the process.
  static ClaimedDirectory& instance();

  ClaimedDirectory(const ClaimedDirectory&) = delete;
  ClaimedDirectory& operator=(const ClaimedDirectory&) = delete;

  // Claims the directory of the files whose paths begin with `answer`, the result of "tempdir" for
  // a module, and releases the former claim. The private directory needs no claim; an empty answer
  // changes nothing. A directory that cannot be opened or locked is claimed without a lock.
  // For a process that watches forks.
  // Throws HostError("DirectoryInUse") if another living process has claimed it,
  // HostError("DirectoryNotClaimed") if descriptors or memory are exhausted. The former claim
  // remains then.
  void claim(const std::string& answer);

  // The path of the directory as in the answer. Empty if none is claimed.
  std::string path() const;

  // Called when a module makes a variable file. Remembers the path if it is in the directory.
  void noteFile(const std::string& path);

  // Whether a file exists at the path that was remembered last.
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
  std::string file_;  // path of the scratch file; empty before one is made
  Descriptor locked_;
};

}  // namespace vormel
