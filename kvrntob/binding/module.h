// The module's exports: what a host looks up by name when it loads kvrntob.
#pragma once

#include <cstdint>

#include "kvrntob/host/export.h"

// What QueryVMFcnTable_kvrntob points to.
struct ModuleFunctionTable {
  const void* functions;    // what QueryVMFcns_kvrntob returns
  std::uint64_t buildTag;   // 32 bits, opaque
  std::uint64_t buildTime;  // seconds since 1970
  std::uint64_t zero;
};
static_assert(sizeof(ModuleFunctionTable) == 32);

extern "C" {

// Registers the root package with the host.
VORMEL_HOST_API void VMInitialize_kvrntob();
// Does nothing.
VORMEL_HOST_API void VMTerminate_kvrntob();
VORMEL_HOST_API const ModuleFunctionTable* QueryVMFcnTable_kvrntob();
// The list of plain functions, of which the module has none: its first word is zero.
VORMEL_HOST_API const void* QueryVMFcns_kvrntob();

extern VORMEL_HOST_API const char* kvrntob_version;     // four dotted numbers
extern VORMEL_HOST_API const char* kvrntob_build_date;  // such as "Nov 21 2026"
}
