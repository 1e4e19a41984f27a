// Why the last operation on a variable file failed.
#pragma once

#include <stdexcept>
#include <string>

#include "kvrntob/host/export.h"

namespace vormel {

// A text for people about the last vf operation that failed; empty before the first failure. The
// operations themselves only say that they failed.
VORMEL_HOST_API const std::string& lastFileError() noexcept;

// Replaces it. Kept as it was if there is no memory for the text.
void setLastFileError(const std::string& text) noexcept;

// A failure on its way out of this folder's code, never beyond it.
class FileFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vormel
