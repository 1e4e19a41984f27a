// Settings in force: a signal's own, or those of its run as they are at the moment of reading.
//
// The run is looked up in the store of the process, also for a signal of a store that was dropped
// since. Such a signal gets the settings of whichever run now has the number, or fails.
#include "kvrntob/store/data.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

ToleranceSettings Data::effectiveTolerance() const {
  if (!toleranceInherited) return Tolerance;
  return SignalRepository::getInstance()->toleranceByRun(RunID);
}

SyncOptions Data::effectiveSyncOptions() const {
  if (!syncOptionsInherited) return Sync;
  return SignalRepository::getInstance()->syncOptionsByRun(RunID);
}

}  // namespace kvr
