// Memory that is left behind for good, and is meant to be.
#pragma once

#if defined(__SANITIZE_ADDRESS__)  // g++
#define KVR_LEAK_SANITIZER
#elif defined(__has_feature)  // clang++
#if __has_feature(address_sanitizer)
#define KVR_LEAK_SANITIZER
#endif
#endif

#ifdef KVR_LEAK_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace kvr::test {

// What is allocated as long as this lives is no leak to the leak sanitizer.
class LeftBehind {
 public:
#ifdef KVR_LEAK_SANITIZER
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

#undef KVR_LEAK_SANITIZER
