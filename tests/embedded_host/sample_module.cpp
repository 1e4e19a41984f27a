// A module for the tests of loading, with the six exports of one. MODULE_NAME is the name of its
// file; WITHOUT_BUILD_DATE leaves an export out, FAILING makes its entry fail after registering.
#include <stdexcept>

#include "tests/embedded_host/sample_classes.h"

#define EXPORT extern "C" __attribute__((visibility("default")))
#define PASTE(a, b) a##b
#define JOIN(a, b) PASTE(a, b)

namespace {
const void* const functions[4] = {};
}

EXPORT void JOIN(VMInitialize_, MODULE_NAME)() {
  sample::registerPackages();
#ifdef FAILING
  throw std::runtime_error("the module's own failure");
#endif
}
EXPORT void JOIN(VMTerminate_, MODULE_NAME)() {}
EXPORT const void* JOIN(QueryVMFcnTable_, MODULE_NAME)() { return functions; }
EXPORT const void* JOIN(QueryVMFcns_, MODULE_NAME)() { return functions; }
EXPORT const char* JOIN(MODULE_NAME, _version);
EXPORT const char* JOIN(MODULE_NAME, _build_date);
const char* JOIN(MODULE_NAME, _version) = "1.2.3.4";
#ifndef WITHOUT_BUILD_DATE
const char* JOIN(MODULE_NAME, _build_date) = "Jan 2 2003";
#endif
