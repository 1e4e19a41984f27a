// Why the last operation on a variable file failed.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "kvrntob/host/export.h"

namespace vormel {

// A text for people about the last vf operation that failed; empty before the first failure. The
// operations themselves only say that they failed.
VORMEL_HOST_API const std::string& lastFileError() noexcept;

// Replaces it by "what", or "what: why". Kept as it was if there is no memory for the text.
void setLastFileError(std::string_view what, std::string_view why = {}) noexcept;

// A failure on its way out of this folder's code, never beyond it.
class FileFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vormel
