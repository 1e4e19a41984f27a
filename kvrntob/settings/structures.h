// The structures in which host code sees tolerances and synchronisation options, and the keywords
// of the options' codes.
//
// Reading takes the first element of a structure or value object array; its fields go by name, in
// any order. Writing makes a new 1-by-1 structure, owned by the caller.
#pragma once

#include <string_view>

#include "kvrntob/host/libvr.h"
#include "kvrntob/store/records.h"

namespace kvr {

// ---- Tolerances: eleven fields, from "toleranceType" to "fcnCall" ----

// "toleranceType" is truncated. Fails with
//   INPUT_MISMATCH("struct")    another class, or no elements
//   NUMBER_OF_FIELDS("11")
//   MISSING_FIELD               a field other than "timeStep" is missing
//   TOL_TYPE                    the type is not a real numeric scalar, or not 0, 1 or 2
//   NOT_NUMERIC(...)            a number is not a real numeric scalar, or "timeStep" is missing; in
//                               the order of the fields, with words such as "Start time"
//   INPUT_MISMATCH("Character of strings")    "fcnCall" is not a character array
ToleranceSettings readToleranceStruct(const vrArray* array);

// All eleven fields, whatever the type.
vrArray* writeToleranceStruct(const ToleranceSettings& settings);

// ---- Synchronisation options: five fields, from "SyncMethod" to "syncType" ----

// The first element of "UniformTimeInterval" is read; "syncType" is truncated. Fails with
//   INPUT_MISMATCH("struct")    another class, or no elements
//   NUMBER_OF_FIELDS("5")
//   MISSING_FIELD               a field is missing or has the wrong class
//   SYNC_TYPE                   "syncType" is not 0 or 1
//   INVALID_SYNC, INVALID_INTERP    not a keyword, even if "syncType" is 1
SyncOptions readSyncOptionsStruct(const vrArray* array);

// With lower-case keywords.
vrArray* writeSyncOptionsStruct(const SyncOptions& options);

// ---- Keywords, in any case of their ASCII letters; nothing is trimmed ----

// The code of "union", "intersection" or "uniform". Fails with INVALID_SYNC.
int32 parseSyncMethod(std::string_view text);

// The code of "zoh" or "linear". Fails with INVALID_INTERP.
int32 parseInterpMethod(std::string_view text);

}  // namespace kvr
