// A directory for scratch files that nobody else can enter.
#pragma once

#include <string>

#include <sys/types.h>

namespace vormel {

// Made when it is first asked for, under $TMPDIR or else /tmp, with mode 0700. Removed with its
// content at the exit of the process that made it; a forked child leaves it alone.
class PrivateDirectory {
 public:
  // The directory of the process.
  static PrivateDirectory& instance();

  PrivateDirectory() = default;
  ~PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  // Its path, ending in a separator. Throws HostError("NoTemporaryDirectory") if it cannot be made.
  const std::string& path();

 private:
  std::string path_;
  pid_t maker_ = 0;
};

}  // namespace vormel
