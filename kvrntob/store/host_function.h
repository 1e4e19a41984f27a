// Calling a host function that takes nothing and gives one array.
#pragma once

#include "kvrntob/store/array_owners.h"

namespace kvr {

// What becomes of a failure of the function.
enum class FunctionFailure {
  Passes,    // it leaves the call as the host's exception
  GivesNull  // the result is null
};

OwnedArray callHostFunction(const char* name, FunctionFailure failure);

}  // namespace kvr
