// Synchronisation options of signals and runs; inheritance as for tolerances.
#include <utility>

#include "kvrntob/settings/run_settings.h"
#include "kvrntob/settings/sync_struct.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

void writeSyncMethod(SyncOptions& options, int32 code) {
  options.SyncMethod = code;
  options.syncType = 0;
}

void writeCustomSyncMethod(SyncOptions& options, std::string text) {
  options.customSyncMethod = std::move(text);
  options.syncType = 1;
}

}  // namespace

SyncOptions SignalRepository::syncOptions(int32 id) const {
  return recordPointerByID(id)->effectiveSyncOptions();
}

bool SignalRepository::isSyncOptionsInherited(int32 id) const {
  return recordPointerByID(id)->isSyncOptionsInherited();
}

void SignalRepository::resetSyncOptions(int32 id) { recordPointerByID(id)->useRunSyncOptions(); }

void SignalRepository::setSyncMethod(int32 id, int32 code) {
  writeSyncMethod(recordPointerByID(id)->ownSyncOptions(), code);
}

void SignalRepository::setInterpMethod(int32 id, int32 code) {
  recordPointerByID(id)->ownSyncOptions().InterpMethod = code;
}

void SignalRepository::setUniformTimeInterval(int32 id, double interval) {
  recordPointerByID(id)->ownSyncOptions().UniformTimeInterval = interval;
}

void SignalRepository::setCustomSyncMethod(int32 id, std::string text) {
  writeCustomSyncMethod(recordPointerByID(id)->ownSyncOptions(), std::move(text));
}

void SignalRepository::setSyncOptions(int32 id, const vrArray* structure) {
  const DataPtr record = recordPointerByID(id);
  SyncOptions options = readSyncOptionsStruct(structure);
  record->ownSyncOptions() = std::move(options);
}

const SyncOptions& SignalRepository::syncOptionsByRun(int32 run) const {
  return settingsOfRun(runSyncOptions, run);
}

void SignalRepository::setSyncMethodByRun(int32 run, int32 code) {
  writeSyncMethod(settingsOfRun(runSyncOptions, run), code);
}

void SignalRepository::setInterpMethodByRun(int32 run, int32 code) {
  settingsOfRun(runSyncOptions, run).InterpMethod = code;
}

void SignalRepository::setUniformTimeIntervalByRun(int32 run, double interval) {
  settingsOfRun(runSyncOptions, run).UniformTimeInterval = interval;
}

void SignalRepository::setCustomSyncMethodByRun(int32 run, std::string text) {
  writeCustomSyncMethod(settingsOfRun(runSyncOptions, run), std::move(text));
}

void SignalRepository::setSyncOptionsByRun(int32 run, const vrArray* structure) {
  // The structure is read before the run is looked up, other than for tolerances. This stays.
  SyncOptions options = readSyncOptionsStruct(structure);
  settingsOfRun(runSyncOptions, run) = std::move(options);
}

}  // namespace kvr
