// KVR_ADDRESS_SANITIZER: defined in builds under the address sanitizer, g++'s or clang's.
#pragma once

#if defined(__SANITIZE_ADDRESS__)  // g++
#define KVR_ADDRESS_SANITIZER
#elif defined(__has_feature)  // clang++
#if __has_feature(address_sanitizer)
#define KVR_ADDRESS_SANITIZER
#endif
#endif
