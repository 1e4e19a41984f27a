// Adding a signal: the record is made, then entered in every table.
#include <boost/smart_ptr/make_shared.hpp>
#include <utility>

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

int32 SignalRepository::addSignal(std::string rootSource, std::string timeSource,
                                  std::string dataSource, SharedArray values,
                                  std::string blockSource, std::string modelSource,
                                  std::string signalLabel, int32 timeDim,
                                  std::vector<int32> sampleDims, int32 portIndex,
                                  std::vector<int32> channel, std::string sid, int32 run,
                                  SharedArray metaData, int32 parent, std::string rootDataSrc) {
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  const auto instance = instanceByRun.find(run);
  const DataPtr record = boost::make_shared<Data>(
      std::move(rootSource), std::move(timeSource), std::move(dataSource), std::move(values),
      std::move(blockSource), std::move(modelSource), std::move(signalLabel), timeDim,
      std::move(sampleDims), portIndex, std::move(channel), std::move(sid), run,
      std::move(metaData), writeFlag, std::move(rootDataSrc),
      instance != instanceByRun.end() ? instance->second : -1);
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

}  // namespace kvr
