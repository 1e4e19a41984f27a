// The failure of the last host function that was called with trap 1 and failed. It waits here for
// an operation that is handed the null array such a call leaves behind.
#pragma once

#include <exception>

#include "kvrntob/host/export.h"

namespace vormel {

// Replaces what waited. Null forgets it.
VORMEL_HOST_API void setTrappedFailure(std::exception_ptr failure) noexcept;
VORMEL_HOST_API void forgetTrappedFailure() noexcept;

// Rethrows the waiting failure and forgets it. Returns if there is none.
VORMEL_HOST_API void rethrowTrappedFailure();

}  // namespace vormel
