// Tolerances of signals and runs. A signal that is given one stands on its own record from then on,
// as that record is: nothing is copied from the run.
#include <utility>

#include "kvrntob/settings/run_settings.h"
#include "kvrntob/settings/tolerance_struct.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

void write(ToleranceSettings& settings, const ToleranceField& field, double value) {
  settings.*field.member = value;
  settings.toleranceType = field.type;
}

void writeFcnCall(ToleranceSettings& settings, std::string text) {
  settings.fcnCall = std::move(text);
  settings.toleranceType = 2;
}

}  // namespace

ToleranceSettings SignalRepository::tolerance(int32 id) const {
  return recordPointerByID(id)->effectiveTolerance();
}

bool SignalRepository::isToleranceInherited(int32 id) const {
  return recordPointerByID(id)->isToleranceInherited();
}

void SignalRepository::resetTolerance(int32 id) { recordPointerByID(id)->useRunTolerance(); }

void SignalRepository::setTolerance(int32 id, const ToleranceField& field, double value) {
  write(recordPointerByID(id)->ownTolerance(), field, value);
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
  write(settingsOfRun(runTolerances, run), field, value);
}

void SignalRepository::setFcnCallTolByRun(int32 run, std::string text) {
  writeFcnCall(settingsOfRun(runTolerances, run), std::move(text));
}

void SignalRepository::setToleranceByRun(int32 run, const vrArray* structure) {
  ToleranceSettings& settings = settingsOfRun(runTolerances, run);
  settings = readToleranceStruct(structure);
}

}  // namespace kvr
