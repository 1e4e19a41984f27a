// Comparison settings and display attributes: everything about a signal or a run that can be
// changed after it was made. The structure forms of the settings are in structures.cpp.
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/settings/structures.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

// The run's entry in a table of settings. Not in the table of runs: a run gets its settings with
// its first signal, and they outlive it. Fails with NON_EXISTENT("Run ID").
template <class Table>
auto& settingsOfRun(Table& table, int32 run) {
  return requireEntry<KVR::kvr::NON_EXISTENT>(table, run, "Run ID");
}

void writeNumber(ToleranceSettings& settings, const ToleranceField& field, double value) {
  settings.*field.member = value;
  settings.toleranceType = field.type;
}

void writeFcnCall(ToleranceSettings& settings, std::string text) {
  settings.fcnCall = std::move(text);
  settings.toleranceType = 2;
}

void writeSyncMethod(SyncOptions& options, int32 code) {
  options.SyncMethod = code;
  options.syncType = 0;
}

void writeCustomSyncMethod(SyncOptions& options, std::string text) {
  options.customSyncMethod = std::move(text);
  options.syncType = 1;
}

}  // namespace

// ---- Settings in force: a signal's own, or those its run has at the moment of reading ----
//
// The run is looked up in the current store of the process, also for a signal of an older store
// that was dropped. Such a signal gets the settings of whichever run now has the number, or fails.

ToleranceSettings Data::effectiveTolerance() const {
  if (!toleranceInherited) return Tolerance;
  return SignalRepository::getInstance()->toleranceByRun(RunID);
}

SyncOptions Data::effectiveSyncOptions() const {
  if (!syncOptionsInherited) return Sync;
  return SignalRepository::getInstance()->syncOptionsByRun(RunID);
}

// ---- Tolerances ----

ToleranceSettings SignalRepository::tolerance(int32 id) const {
  return recordPointerByID(id)->effectiveTolerance();
}

bool SignalRepository::isToleranceInherited(int32 id) const {
  return recordPointerByID(id)->isToleranceInherited();
}

void SignalRepository::resetTolerance(int32 id) { recordPointerByID(id)->useRunTolerance(); }

void SignalRepository::setTolerance(int32 id, const ToleranceField& field, double value) {
  writeNumber(recordPointerByID(id)->ownTolerance(), field, value);
}

void SignalRepository::setFcnCallTol(int32 id, std::string text) {
  writeFcnCall(recordPointerByID(id)->ownTolerance(), std::move(text));
}

void SignalRepository::setTolerance(int32 id, const vrArray* structure) {
  const DataPtr record = recordPointerByID(id);
  ToleranceSettings settings = readToleranceStruct(structure);
  record->ownTolerance() = std::move(settings);
}

const ToleranceSettings& SignalRepository::toleranceByRun(int32 run) const {
  return settingsOfRun(runTolerances, run);
}

void SignalRepository::setToleranceByRun(int32 run, const ToleranceField& field, double value) {
  writeNumber(settingsOfRun(runTolerances, run), field, value);
}

void SignalRepository::setFcnCallTolByRun(int32 run, std::string text) {
  writeFcnCall(settingsOfRun(runTolerances, run), std::move(text));
}

void SignalRepository::setToleranceByRun(int32 run, const vrArray* structure) {
  ToleranceSettings& settings = settingsOfRun(runTolerances, run);
  settings = readToleranceStruct(structure);
}

// ---- Synchronisation options ----

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
  // Required: unlike for tolerances, the structure is read before the run is looked up.
  SyncOptions options = readSyncOptionsStruct(structure);
  settingsOfRun(runSyncOptions, run) = std::move(options);
}

// ---- Display attributes ----

bool SignalRepository::isVisible(int32 id) const { return recordPointerByID(id)->isVisible(); }

void SignalRepository::setVisible(int32 id, bool visible) {
  recordPointerByID(id)->setVisible(visible);
}

void SignalRepository::setLineColor(int32 id, double red, double green, double blue) {
  recordPointerByID(id)->setLineColor(red, green, blue);
}

void SignalRepository::setLineStyle(int32 id, const std::string& style) {
  recordPointerByID(id)->setLineDashed(style);
}

void SignalRepository::setMetaData(int32 id, SharedArray metaData) {
  recordPointerByID(id)->MetaData = std::move(metaData);
}

}  // namespace kvr
