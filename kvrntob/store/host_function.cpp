#include "kvrntob/store/host_function.h"

#include "kvrntob/host/v_interpreter.h"

namespace kvr {

OwnedArray callHostFunction(const char* name, FunctionFailure failure) {
  vrArray* result = nullptr;
  ipCallFcnWithTrap(1, &result, 0, nullptr, name, failure == FunctionFailure::GivesNull ? 1 : 0);
  return OwnedArray(result);
}

}  // namespace kvr
