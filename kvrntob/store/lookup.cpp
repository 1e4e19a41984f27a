// Finding signals: by id, by data source, by run and index.
#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

Data copyOf(const Data& record) {
  record.prefetch();
  return record;
}

}  // namespace

Data SignalRepository::copyRecordByID(int32 id) const { return copyOf(*recordPointerByID(id)); }

Data SignalRepository::copyRecordBySource(const std::string& source) const {
  return copyOf(*recordPointerBySource(source));
}

Data SignalRepository::copyRecordByRunIndex(int32 run, int32 index) const {
  return copyOf(*recordPointerByRunIndex(run, index));
}

const DataPtr& SignalRepository::recordPointerByID(int32 id) const {
  const auto entry = signals.find(id);
  if (entry == signals.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("ID"));
  return entry->second;
}

const DataPtr& SignalRepository::recordPointerBySource(const std::string& source) const {
  const auto entry = signalsBySource.find(source);
  if (entry == signalsBySource.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("Signal source"));
  return entry->second;
}

const DataPtr& SignalRepository::recordPointerByRunIndex(int32 run, int32 index) const {
  // Not the table of runs: a run that exists but never held a signal is unknown here.
  const auto entry = signalsByRun.find(run);
  if (entry == signalsByRun.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  const std::vector<DataPtr>& list = entry->second;
  if (index < 1 || static_cast<std::size_t>(index) > list.size())
    raiseFromMessage(KVR::kvr::NON_EXISTENT("Index"));
  return list[static_cast<std::size_t>(index) - 1];
}

int32 SignalRepository::signalIDByRunIndex(int32 run, int32 index) const {
  return recordPointerByRunIndex(run, index)->DataID;
}

int32 SignalRepository::signalCount(int32 run) {
  if (!runs.contains(run)) return 0;
  return static_cast<int32>(signalsByRun[run].size());  // makes an empty list if there is none
}

bool SignalRepository::isValidSignalID(int32 run, int32 id) const {
  return recordPointerByID(id)->RunID == run;
}

const std::string& SignalRepository::blockSourceAt(int32 index) const {
  if (index < 1 || static_cast<std::size_t>(index) > blockGroupNames.size())
    raiseFromMessage(KVR::kvr::NON_EXISTENT("Index"));
  return blockGroupNames[static_cast<std::size_t>(index) - 1];
}

}  // namespace kvr
