// What the targets of variable files share.
#pragma once

#include <memory>
#include <string>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/file_status.h"
#include "kvrntob/host/libvf.h"
#include "tests/fuzz/verdict.h"

namespace kvr::fuzz {

struct CloseFile {
  void operator()(vfFile* file) const { vfClose(file); }
};
using OpenFile = std::unique_ptr<vfFile, CloseFile>;

inline OpenFile openFile(const std::string& path, const char* mode) {
  return OpenFile(vfOpen(path.c_str(), mode));
}

// Complains at its end unless as many arrays are alive as at its start, and no file is open.
class NothingLeft {
 public:
  NothingLeft() = default;
  NothingLeft(const NothingLeft&) = delete;
  NothingLeft& operator=(const NothingLeft&) = delete;
  ~NothingLeft() {
    require(vormel::liveArrayCount() == aliveAtStart_, "arrays are left alive");
    require(vormel::openFileCount() == 0, "files are left open");
  }

 private:
  std::size_t aliveAtStart_ = vormel::liveArrayCount();
};

}  // namespace kvr::fuzz
