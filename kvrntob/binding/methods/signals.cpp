// Signals: adding, removing, finding and reading them, and their hierarchy.
#include "kvrntob/base/failure.h"
#include "kvrntob/binding/add_arguments.h"
#include "kvrntob/binding/arguments.h"
#include "kvrntob/binding/forms.h"
#include "kvrntob/binding/methods.h"

namespace kvr {

// The order of the reads is required: it decides which failure a call with several faults reports.
void SignalRepositoryPutData::run(const Call& call) {
  const ArgumentCell* in = call.in;
  NewSignal signal;
  signal.rootSource = in[3].text;
  signal.timeSource = in[4].text;
  signal.dataSource = in[5].text;
  signal.values = keepBeyondCall(vrDuplicateArray(in[6].array));
  signal.blockSource = in[7].text;
  signal.modelSource = in[8].text;
  signal.signalLabel = in[9].text;
  signal.timeDim = readTimeDimension(in[10].array);
  signal.sampleDims = readSampleDimensions(in[11].array);
  signal.portIndex = readPortIndex(in[12].array);
  signal.channel = readChannel(in[13].array);
  if (!vrIsEmpty(in[14].array)) signal.sid = vrArrayToStdString(in[14].array);
  signal.runID = in[2].int32Value;
  signal.metaData = keepBeyondCall(vrCreateSharedDataCopy(in[15].array));
  signal.parentID = readParent(in[16].array);
  signal.rootDataSrc = in[17].text;
  SignalRepository& store = call.store();  // only after every argument has passed
  putInt32Cell(call.out[0], store.addSignal(std::move(signal)));
}

void SignalRepositoryRemove::run(const Call& call) {
  SignalRepository& store = call.store();
  store.removeSignal(signalOf(store, call));
}

namespace {

// The record that getSignal asks for, by id or by data source.
const DataPtr& recordOf(const SignalRepository& store, const vrArray* id) {
  if (isIntegerScalar(id)) return store.recordPointerByID(readFirst32Bits(id));
  if (isCharacterClass(id) && !vrIsEmpty(id))
    return store.recordPointerBySource(vrArrayToStdString(id));
  raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
}

// The same by run and index. The run alone must be a scalar, and that is required: a longer index
// gives its first element.
const DataPtr& recordOf(const SignalRepository& store, const vrArray* run, const vrArray* index) {
  if (!isIntegerScalar(run) || !isIntegerClass(index))
    raiseFromMessage(KVR::kvr::NOT_INTEGER_SCALAR("Index or Data Run ID"));
  return store.recordPointerByRunIndex(readTruncated(run), readTruncated(index));
}

const DataPtr& askedRecord(const SignalRepository& store, const Call& call) {
  const ArgumentCell* in = call.in;
  if (call.inputCount == 2) return recordOf(store, in[1].array);
  if (call.inputCount == 3) return recordOf(store, in[1].array, in[2].array);
  raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
}

// Reading values from the scratch file calls the host, which may call back and change the record:
// such a record is copied first.
vrArray* exportSnapshot(const DataPtr& record) {
  return record->isStoredInFile() ? exportSignal(Data(*record)) : exportSignal(*record);
}

}  // namespace

void SignalRepositoryGetData::run(const Call& call) {
  const SignalRepository& store = call.store();
  call.askForOneOutputAtLeast();
  putStructure(call.out[0], exportSnapshot(askedRecord(store, call)));
}

void SignalRepositoryGetDataByRunIndex::run(const Call& call) {
  const SignalRepository& store = call.store();
  const int32 run = store.runIDAt(call.in[1].int32Value);
  putStructure(call.out[0],
               exportSnapshot(store.recordPointerByRunIndex(run, call.in[2].int32Value)));
}

void SignalRepositoryGetIDByRunAndIndex::run(const Call& call) {
  const SignalRepository& store = call.store();
  putInt32Array(call.out[0],
                store.signalIDByRunIndex(call.in[1].int32Value, call.in[2].int32Value));
}

void SignalRepositoryIsValidSignalID::run(const Call& call) {
  const SignalRepository& store = call.store();
  *call.outputCount = 1;
  putTruth(call.out[0], store.isValidSignalID(call.in[1].int32Value, call.in[2].int32Value));
}

void SignalRepositoryGetSignalCount::run(const Call& call) {
  SignalRepository& store = call.store();
  call.askForOneOutputAtLeast();
  if (call.inputCount == 1) return putInt32Array(call.out[0], store.signalCount());
  if (call.inputCount != 2) raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
  const vrArray* run = call.in[1].array;
  if (!isIntegerClass(run) && !vrIsScalar(run)) raiseFromMessage(KVR::kvr::NOT_INTEGER("Run ID"));
  putInt32Array(call.out[0], store.signalCount(readTruncated(run)));
}

void SignalRepositoryGetBlkSrcByIndex::run(const Call& call) {
  const SignalRepository& store = call.store();
  *call.outputCount = 1;
  putString(call.out[0], store.blockSourceAt(call.in[1].int32Value));
}

void SignalRepositoryGetRootDataSource::run(const Call& call) {
  const SignalRepository& store = call.store();
  putString(call.out[0], store.rootDataSource(signalOf(store, call)));
}

void SignalRepositoryGetInstanceID::run(const Call& call) {
  const SignalRepository& store = call.store();
  putInt32Cell(call.out[0], store.instanceID(signalOf(store, call)));
}

void SignalRepositoryGetChildren::run(const Call& call) {
  const SignalRepository& store = call.store();
  const vrArray* first = call.in[1].array;
  int32 signal = readTruncated(first);
  if (call.inputCount == 3) {
    requireIntegerScalar(call.in[2].array, "Index");
    signal = store.signalIDByRunIndex(signal, readFirst32Bits(call.in[2].array));
  } else if (call.inputCount != 2) {
    raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
  }
  putTruth(call.out[0], !store.hasParent(signal));
  if (store.hasChildren(signal)) {
    putInt32List(call.out[1], store.childIDs(signal));
  } else {
    // Empty and of the class of the first argument, not int32: part of the interface.
    call.out[1].array = vrCreateEmptyCopy(first);
  }
  putInt32Cell(call.out[2], store.parentID(signal));
}

void SignalRepositorySetParent::run(const Call& call) {
  call.store().setParent(call.in[1].int32Value, call.in[2].int32Value);
}

}  // namespace kvr
