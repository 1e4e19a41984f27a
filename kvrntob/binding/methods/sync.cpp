// Synchronisation options of a signal and of a run.
#include "kvrntob/binding/forms.h"
#include "kvrntob/binding/methods.h"
#include "kvrntob/settings/structures.h"

namespace kvr {

void SignalRepositorySetSyncMethod::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(typedIDValueFirst, store, call, Keyword{parseSyncMethod});
  store.setSyncMethod(set.signal, set.value);
}

void SignalRepositorySetInterpMethod::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(typedIDValueFirst, store, call, Keyword{parseInterpMethod});
  store.setInterpMethod(set.signal, set.value);
}

void SignalRepositorySetCustomSyncMethod::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(typedIDValueFirst, store, call, CharacterArray());
  store.setCustomSyncMethod(set.signal, set.value);
}

void SignalRepositorySetUniformTimeInterval::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set =
      readSetting(typedIDValueFirst, store, call, NumericScalar{"Uniform Time Interval"});
  if (call.inputCount == 4) {
    // Required: with run and index this sets the initial absolute tolerance, not the interval.
    store.setTolerance(set.signal, toleranceField::initAbsTolVal, set.value);
  } else {
    store.setUniformTimeInterval(set.signal, set.value);
  }
}

void SignalRepositorySetSyncOptions::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(typedIDStructFirst, store, call, StructOnly());
  store.setSyncOptions(set.signal, set.value);
}

void SignalRepositoryGetSyncOptions::run(const Call& call) {
  const SignalRepository& store = call.store();
  putStructure(call.out[0], writeSyncOptionsStruct(store.syncOptions(signalOf(store, call))));
}

void SignalRepositoryResetSyncOptions::run(const Call& call) {
  SignalRepository& store = call.store();
  store.resetSyncOptions(signalOf(store, call));
}

void SignalRepositoryIsSyncOptionsInherited::run(const Call& call) {
  const SignalRepository& store = call.store();
  putTruth(call.out[0], store.isSyncOptionsInherited(signalOf(store, call)));
}

// ---- Of a run. The first three take their text ahead of the handle. ----

void SignalRepositorySetSyncMethodByRun::run(const Call& call) {
  const int32 code = parseSyncMethod(call.in[2].text);
  call.store().setSyncMethodByRun(call.in[1].int32Value, code);
}

void SignalRepositorySetInterpMethodByRun::run(const Call& call) {
  const int32 code = parseInterpMethod(call.in[2].text);
  call.store().setInterpMethodByRun(call.in[1].int32Value, code);
}

void SignalRepositorySetCustomSyncMethodByRun::run(const Call& call) {
  const std::string text = call.in[2].text;
  call.store().setCustomSyncMethodByRun(call.in[1].int32Value, text);
}

void SignalRepositorySetUniformTimeIntervalByRun::run(const Call& call) {
  SignalRepository& store = call.store();
  store.setUniformTimeIntervalByRun(call.in[1].int32Value, call.in[2].doubleValue);
}

void SignalRepositorySetSyncOptionsByRun::run(const Call& call) {
  call.store().setSyncOptionsByRun(call.in[1].int32Value, call.in[2].array);
}

void SignalRepositoryGetSyncOptionsByRun::run(const Call& call) {
  const SignalRepository& store = call.store();
  putStructure(call.out[0], writeSyncOptionsStruct(store.syncOptionsByRun(call.in[1].int32Value)));
}

}  // namespace kvr
