// Adding a signal: the record is made, then entered in every table. And copying a run, whose copies
// are added like new signals: their arrays are duplicated, but nothing that was set after a signal
// was added is copied.
#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/store/scratch_file.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

int32 SignalRepository::addSignal(NewSignal&& signal) {
  const int32 run = signal.runID;
  const int32 parent = signal.parentID;
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  const auto instance = instanceByRun.find(run);
  const DataPtr record = boost::make_shared<Data>(
      std::move(signal), writeFlag, instance != instanceByRun.end() ? instance->second : -1);
  if (parent != 0) {
    recordPointerByID(parent)->ChildIDs.push_back(record->DataID);
    record->linkToParent(parent);
  }
  return insertRecord(record->DataSource, record, record->BlockSource, record->SignalLabel,
                      record->ModelSource, run);
}

int32 SignalRepository::insertRecord(const std::string& dataSource, const DataPtr& record,
                                     const std::string& blockSource, const std::string& signalLabel,
                                     const std::string& modelSource, int32 run) {
  signalsBySource[dataSource] = record;
  const int32 id = record->DataID;
  enterGroup(blockGroups, blockGroupNames, blockSource, id);
  enterGroup(dataSourceGroups, dataSourceGroupNames, dataSource, id);
  enterGroup(signalNameGroups, signalNameGroupNames, signalLabel, id);
  enterGroup(modelGroups, modelGroupNames, modelSource, id);
  runTolerances.try_emplace(run, defaultTolerance);
  runSyncOptions.try_emplace(run, defaultSyncOptions);
  signals[id] = record;
  signalsByRun[run].push_back(record);
  return id;
}

void SignalRepository::enterGroup(Groups& groups, NameList& names, const std::string& key,
                                  int32 id) {
  const auto [entry, isNew] = groups.try_emplace(key);
  if (isNew) names.push_back(key);
  entry->second.push_back(id);
}

int32 SignalRepository::copyRun(int32 source, int32 instance) {
  const int32 copy = createEmptyRun(std::string(runName(source)), instance);
  // Counted once: the new run may have got the number of the source itself.
  const auto count = static_cast<int32>(signalsByRun[source].size());
  for (int32 index = 1; index <= count; ++index) {
    const DataPtr record = recordPointerByRunIndex(source, index);
    // Reading values back calls the host, where a function may change or remove the signal. Such a
    // record is copied first.
    const DataPtr duplicate = record->storedInFile ? duplicateRecord(Data(*record), writeFlag)
                                                   : duplicateRecord(*record, writeFlag);
    duplicate->setRunID(copy);
    insertCopy(copy, duplicate);
  }
  return copy;
}

DataPtr SignalRepository::duplicateRecord(const Data& record, bool storedInFile) const {
  NewSignal copy;
  copy.rootSource = record.RootSource;
  copy.timeSource = record.TimeSource;
  copy.dataSource = record.DataSource;
  copy.values = keepBeyondCall(record.storedInFile ? readScratchVariable(record.DataID)
                                                   : vrDuplicateArray(record.DataValues.get()));
  copy.blockSource = record.BlockSource;
  copy.modelSource = record.ModelSource;
  copy.signalLabel = record.SignalLabel;
  copy.timeDim = record.TimeDim;
  copy.sampleDims = record.SampleDims;
  copy.portIndex = record.PortIndex;
  copy.channel = record.Channel;
  copy.sid = record.SID;
  copy.runID = record.RunID;
  copy.metaData = keepBeyondCall(vrDuplicateArray(record.MetaData.get()));
  copy.rootDataSrc = record.rootDataSrc;
  return boost::make_shared<Data>(std::move(copy), storedInFile, record.InstanceID);
}

int32 SignalRepository::insertCopy(int32 run, const DataPtr& copy) {
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  return insertRecord(copy->DataSource, copy, copy->BlockSource, copy->SignalLabel,
                      copy->ModelSource, run);
}

}  // namespace kvr
