// The sync options structure, the form in which host code sees a SyncOptions, and the keywords of
// its codes. Five fields, from "SyncMethod" to "syncType".
#pragma once

#include <string_view>

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/sync_options.h"

namespace kvr {

// The code of "union", "intersection" or "uniform", in any case of its ASCII letters, nothing
// trimmed. Fails with INVALID_SYNC.
int32 parseSyncMethod(std::string_view text);

// The code of "zoh" or "linear", likewise. Fails with INVALID_INTERP.
int32 parseInterpMethod(std::string_view text);

// From the first element of a structure or value object array; fields go by name, in any order.
// Of a longer interval the first element counts; "syncType" is truncated. Fails with
//   INPUT_MISMATCH("struct")    another class, or empty
//   NUMBER_OF_FIELDS("5")
//   MISSING_FIELD               a field is missing or has the wrong class
//   SYNC_TYPE                   "syncType" is not 0 or 1
//   INVALID_SYNC, INVALID_INTERP    no keyword, also where "syncType" is 1
SyncOptions readSyncOptionsStruct(const vrArray* array);

// A new 1-by-1 structure, the caller's, with lower-case keywords.
vrArray* writeSyncOptionsStruct(const SyncOptions& options);

}  // namespace kvr
