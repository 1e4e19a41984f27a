// A file that is written beside its target and takes the target's place when it is complete.
#pragma once

#include <sys/types.h>

#include <string>

#include "recording/recording.h"

namespace kvr::recording {

// Throws SystemError. Removes the unfinished file unless it was published.
class NewFile {
 public:
  // Makes an empty file in the folder of the target: under an unpredictable name, readable only by
  // its owner, locked while this object lives. Removes files that killed processes left there.
  explicit NewFile(const std::string& target);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  const std::string& path() const noexcept { return path_; }
  const std::string& target() const noexcept { return target_; }

  // Whether something has the name of the target, be it a link to nothing.
  bool targetExists() const;

  // Syncs the file to the disk, gives it the mode of the target, or else the one that the umask
  // allows, and renames it. With kKeep it renames nothing and returns false if the target exists.
  bool publish(Existing existing);

 private:
  void create();
  void sweep() const;
  std::string prefix() const;

  std::string target_;  // links followed
  std::string folder_;
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace kvr::recording
