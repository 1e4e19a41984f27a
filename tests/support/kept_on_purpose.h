// Memory that a test has to lose, since what it tests is that it is lost. What is allocated while a
// KeptOnPurpose lives, and what that holds, is no leak to the sanitizer.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVR_TEST_LEAK_CHECK
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define KVR_TEST_LEAK_CHECK
#endif

#ifdef KVR_TEST_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace kvr::test {

class KeptOnPurpose {
 public:
#ifdef KVR_TEST_LEAK_CHECK
  KeptOnPurpose() { __lsan_disable(); }
  ~KeptOnPurpose() { __lsan_enable(); }
#else
  KeptOnPurpose() = default;
  ~KeptOnPurpose() {}  // NOLINT(modernize-use-equals-default): so that it is used
#endif
  KeptOnPurpose(const KeptOnPurpose&) = delete;
  KeptOnPurpose& operator=(const KeptOnPurpose&) = delete;
};

}  // namespace kvr::test
