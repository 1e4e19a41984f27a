// Memory that is left behind for good, and is meant to be.
#pragma once

#include "tests/support/sanitizers.h"

#ifdef KVR_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace kvr::test {

// What is allocated as long as this lives is no leak to the leak sanitizer.
class LeftBehind {
 public:
#ifdef KVR_ADDRESS_SANITIZER
  LeftBehind() { __lsan_disable(); }
  ~LeftBehind() { __lsan_enable(); }
#else
  LeftBehind() {}  // not defaulted: an object that is there for its scope
  ~LeftBehind() {}
#endif
  LeftBehind(const LeftBehind&) = delete;
  LeftBehind& operator=(const LeftBehind&) = delete;
};

}  // namespace kvr::test
