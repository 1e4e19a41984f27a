// Runs: making, listing, reading, renaming, copying and removing them.
#include "kvrntob/base/failure.h"
#include "kvrntob/binding/arguments.h"
#include "kvrntob/binding/methods.h"

namespace kvr {

void SignalRepositoryCreateEmptyRun::run(const Call& call) {
  SignalRepository& store = call.store();
  putInt32Cell(call.out[0], store.createEmptyRun(call.in[1].text, call.in[2].int32Value));
}

void SignalRepositoryRemoveRun::run(const Call& call) {
  call.store().removeRun(call.in[1].int32Value);
}

void SignalRepositoryRemoveEmptyRun::run(const Call& call) {
  call.store().removeEmptyRun(call.in[1].int32Value);
}

void SignalRepositoryDeleteInstanceID::run(const Call& call) {
  call.store().deleteInstanceID(call.in[1].int32Value);
}

void SignalRepositoryDeepCopyRun::run(const Call& call) {
  SignalRepository& store = call.store();
  putInt32Cell(call.out[0], store.copyRun(call.in[1].int32Value, call.in[2].int32Value));
}

void SignalRepositoryGetRunID::run(const Call& call) {
  SignalRepository& store = call.store();
  const vrArray* position = call.in[1].array;
  if (!isIntegerScalar(position) || vrGetImagData(position) != nullptr)
    raiseFromMessage(KVR::kvr::INPUT_MISMATCH("integer"));
  putInt32Array(call.out[0], store.runIDAt(readTruncated(position)));
}

void SignalRepositoryGetRunName::run(const Call& call) {
  SignalRepository& store = call.store();
  putString(call.out[0], store.runName(call.in[1].int32Value));
}

void SignalRepositorySetRunName::run(const Call& call) {
  call.store().setRunName(call.in[1].int32Value, call.in[2].text);
}

void SignalRepositoryGetRunCount::run(const Call& call) {
  SignalRepository& store = call.store();
  *call.outputCount = 1;
  putInt32Array(call.out[0], store.runCount());
}

void SignalRepositoryGetNextRunID::run(const Call& call) {
  SignalRepository& store = call.store();
  putInt32Cell(call.out[0], store.nextRunID());
}

void SignalRepositoryGetAllRunIDs::run(const Call& call) {
  SignalRepository& store = call.store();
  putInt32List(call.out[0], store.runIDsOfInstance(call.in[1].int32Value));
}

void SignalRepositoryIsValidRunID::run(const Call& call) {
  SignalRepository& store = call.store();
  *call.outputCount = 1;
  putTruth(call.out[0], store.isValidRunID(call.in[1].int32Value));
}

void SignalRepositoryGetVersion::run(const Call& call) {
  SignalRepository& store = call.store();
  putString(call.out[0], store.version(call.in[1].int32Value));
}

void SignalRepositoryGetDateCreated::run(const Call& call) {
  SignalRepository& store = call.store();
  putDoubleArray(call.out[0], store.dateCreated(call.in[1].int32Value));
}

void SignalRepositorySetDateCreated::run(const Call& call) {
  call.store().setDateCreated(call.in[1].int32Value, call.in[2].doubleValue);
}

void SignalRepositoryUpdateDateCreated::run(const Call& call) {
  call.store().updateDateCreated(call.in[1].int32Value);
}

}  // namespace kvr
