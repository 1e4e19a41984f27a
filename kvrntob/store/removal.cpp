// Removing signals and runs.
//
// As required, the paths differ: removing a signal maintains the hierarchy, removing a run does
// not, and neither touches the scratch file, the names of groups or the settings of runs. The id is
// erased from the data source column under the record's rootDataSrc, although it was entered there
// under DataSource: where the two differ, the column still lists the id.
#include <algorithm>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/store/batch_eraser.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

// In a walk over a list of records: prefetches one that comes a few steps later. Removing a run of
// 1e5 signals takes a fifth less time (docs/performance.md).
void prefetchAhead(const std::vector<DataPtr>& list, std::size_t index) {
  constexpr std::size_t steps = 3;
  if (index + steps < list.size()) list[index + steps]->prefetch();
}

}  // namespace

// The erasures from the store's lists that one removal collects. Its end applies them, also after a
// failure: signals removed before the failure stay removed.
class SignalRepository::PendingErasures {
 public:
  PendingErasures() = default;
  PendingErasures(const PendingErasures&) = delete;
  PendingErasures& operator=(const PendingErasures&) = delete;
  ~PendingErasures() { apply(); }

  void addFromGroup(IDList& group, int32 id) { ids_.add(group, id); }
  void addFromRun(std::vector<DataPtr>& list, const DataPtr& record) {
    records_.add(list, record.get());
  }
  void addFromParent(const DataPtr& parent, int32 child) {
    ids_.add(parent->ChildIDs, child);
    if (parents_.empty() || parents_.back() != parent) parents_.push_back(parent);
  }

  void apply() noexcept {
    ids_.apply();
    records_.apply();
    parents_.clear();
  }

 private:
  BatchEraser<int32> ids_;
  BatchEraser<DataPtr> records_;
  std::vector<DataPtr> parents_;  // keeps their lists of children alive
};

void SignalRepository::removeSignal(int32 id) {
  PendingErasures erasures;
  removeSignal(id, erasures);
}

void SignalRepository::removeSignal(int32 id, PendingErasures& erasures) {
  const DataPtr record = recordPointerByID(id);
  if (record->hasParent()) {
    erasures.addFromParent(recordPointerByID(record->ParentID), id);
  } else if (!record->ChildIDs.empty()) {
    removeChildren(id, erasures);
  }
  removeFromGroups(id, erasures);
  erasures.addFromRun(signalsByRun[record->RunID], record);
  signalsBySource.erase(record->DataSource);  // whichever signal holds it; no earlier one returns
  signals.erase(id);
}

void SignalRepository::removeChildren(int32 id, PendingErasures& erasures) {
  erasures.apply();  // may erase from the list of children that is read next
  const IDList children = recordPointerByID(id)->ChildIDs;
  for (const int32 child : children) removeSignal(child, erasures);
}

void SignalRepository::removeFromGroups(int32 id, PendingErasures& erasures) {
  const auto entry = signals.find(id);
  if (entry == signals.end()) return;
  const Data& record = *entry->second;
  erasures.addFromGroup(blockGroups[record.BlockSource], id);
  erasures.addFromGroup(dataSourceGroups[record.rootDataSrc], id);
  erasures.addFromGroup(signalNameGroups[record.SignalLabel], id);
  erasures.addFromGroup(modelGroups[record.ModelSource], id);
}

void SignalRepository::collectRunRecords(int32 run, PendingErasures& erasures) {
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  const std::vector<DataPtr>& list = signalsByRun[run];
  for (std::size_t i = 0; i < list.size(); ++i) {
    prefetchAhead(list, i);
    removeFromGroups(list[i]->DataID, erasures);
  }
}

void SignalRepository::eraseRunRecords(int32 run) noexcept {
  const auto entry = signalsByRun.find(run);
  std::vector<DataPtr>& list = entry->second;
  for (std::size_t i = 0; i < list.size(); ++i) {
    prefetchAhead(list, i);
    signalsBySource.erase(list[i]->DataSource);
    signals.erase(list[i]->DataID);
    list[i].reset();
  }
  signalsByRun.erase(entry);
  runs.erase(run);
}

// A run without an instance counts as one of instance 0, whose list then loses its last entry.
int32 SignalRepository::takeInstanceOfRun(int32 run) noexcept {
  const auto owner = instanceByRun.find(run);
  const int32 instance = owner != instanceByRun.end() ? owner->second : 0;
  instanceByRun.erase(run);
  return instance;
}

void SignalRepository::eraseFromInstance(int32 instance, int32 run) noexcept {
  const auto siblings = runsByInstance.find(instance);
  if (siblings != runsByInstance.end()) eraseFirstOrLast(siblings->second, run);
}

void SignalRepository::removeRun(int32 run) {
  PendingErasures erasures;
  collectRunRecords(run, erasures);

  // None of the following can exhaust memory.
  erasures.apply();
  eraseRunRecords(run);
  eraseFirstOrLast(runIDs, run);
  eraseFromInstance(takeInstanceOfRun(run), run);
}

void SignalRepository::removeEmptyRun(int32 run) {
  removeRun(run);
  --lastRunID;
}

// If a run fails, for its id or for exhausted memory, the runs before it stay removed. Each group
// loses the signals of all runs in one pass.
void SignalRepository::deleteInstanceID(int32 instance) {
  const auto entry = runsByInstance.find(instance);
  if (entry == runsByInstance.end()) return;
  const IDList list = entry->second;
  PendingErasures erasures;
  FirstOrLastEraser all(runIDs);
  FirstOrLastEraser siblings(entry->second);
  for (const int32 run : list) {
    collectRunRecords(run, erasures);
    eraseRunRecords(run);
    all.erase(run);
    const int32 owner = takeInstanceOfRun(run);
    if (owner == instance)
      siblings.erase(run);
    else
      eraseFromInstance(owner, run);
  }
}

}  // namespace kvr
