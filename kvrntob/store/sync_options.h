// How the time bases of two signals are to be brought together before they are compared. Kept
// here, never applied.
#pragma once

#include <string>

#include "kvrntob/store/integers.h"

namespace kvr {

struct SyncOptions {
  int32 SyncMethod = 0;               // 0 union, 1 intersection, 2 uniform
  int32 InterpMethod = 0;             // 0 zero-order hold, 1 linear
  double UniformTimeInterval = 0.01;  // interval of a uniform grid
  std::string customSyncMethod;       // text that names a custom method
  int32 syncType = 0;                 // 0: SyncMethod is in force, 1: customSyncMethod

  friend bool operator==(const SyncOptions&, const SyncOptions&) = default;
};

// Made when the module is loaded and never changed; seeds the settings of a run.
extern const SyncOptions defaultSyncOptions;

}  // namespace kvr
