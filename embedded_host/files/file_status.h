// Faults of variable files, the text of the last one, and the number of open files.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kvrntob/host/export.h"

namespace vormel {

// The reason for which the last operation of libvf.h in the process failed, for people; empty
// before the first failure. The operations themselves only return that they failed.
VORMEL_HOST_API const std::string& lastFileError() noexcept;

// Replaces that text by "what", or "what: why". Keeps the former one if memory is exhausted.
void setLastFileError(std::string_view what, std::string_view why = {}) noexcept;

// Number of variable files that are open in the process.
VORMEL_HOST_API std::size_t openFileCount() noexcept;

// A member of everything that counts as an open file.
class OpenFileCounter {
 public:
  OpenFileCounter() noexcept;
  ~OpenFileCounter();
  OpenFileCounter(const OpenFileCounter&) = delete;
  OpenFileCounter& operator=(const OpenFileCounter&) = delete;
};

// A failure within this folder. The operations of libvf.h and value_bytes.h catch it.
class FileFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vormel
