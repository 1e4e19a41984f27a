// Accounts for variable files.
#pragma once

#include <cstddef>

#include "kvrntob/host/export.h"

namespace vormel {

// Number of variable files that are open in the process.
VORMEL_HOST_API std::size_t openFileCount() noexcept;

}  // namespace vormel
