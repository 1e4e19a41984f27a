#include "embedded_host/functions/private_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "embedded_host/messages/host_exception.h"

namespace vormel {

PrivateDirectory& PrivateDirectory::instance() {
  static PrivateDirectory directory;
  return directory;
}

PrivateDirectory::~PrivateDirectory() {
  if (path_.empty() || maker_ != getpid()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

const std::string& PrivateDirectory::path() {
  if (!path_.empty()) return path_;
  const char* parent = std::getenv("TMPDIR");
  std::string name = parent != nullptr && *parent != '\0' ? parent : "/tmp";
  name += "/vormel-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    throw HostError("NoTemporaryDirectory",
                    "Cannot make a directory like " + name + ": " + std::strerror(errno));
  }
  path_ = name + '/';
  maker_ = getpid();
  return path_;
}

}  // namespace vormel
