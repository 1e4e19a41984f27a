// Removing signals and runs.
//
// The paths differ, as required: a removed signal looks after the hierarchy, a removed run does
// not, and neither touches the scratch file, the names of groups or the settings of runs. The id is
// taken out of the data source column under the record's rootDataSrc, although it was entered there
// under DataSource: where the two differ, the column goes on listing it.
#include <algorithm>
#include <array>
#include <utility>

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

using IDList = SignalRepository::IDList;

// Takes the first occurrence out, if there is one.
void eraseFirst(IDList& list, int32 id) {
  const auto found = std::find(list.begin(), list.end(), id);
  if (found != list.end()) list.erase(found);
}

// The same, but drops the last entry if there is none; nothing is taken out of an empty list.
void eraseFirstOrLast(IDList& list, int32 id) {
  const auto found = std::find(list.begin(), list.end(), id);
  if (found != list.end()) {
    list.erase(found);
  } else if (!list.empty()) {
    list.pop_back();
  }
}

// Ids to be taken out of a number of lists, each list walked once however many it is to lose.
class PendingErasures {
 public:
  void add(IDList& list, int32 id) { pending_[&list].push_back(id); }

  // Takes the first occurrence of each id out of its list. No id was added twice for one list.
  void carryOut() {
    for (auto& [list, ids] : pending_) {
      std::sort(ids.begin(), ids.end());
      eraseFirstOfEach(*list, ids);
    }
  }

 private:
  static void eraseFirstOfEach(IDList& list, const IDList& sortedIDs) {
    std::vector<char> taken(sortedIDs.size(), 0);
    const auto isPending = [&](int32 id) {
      const auto found = std::lower_bound(sortedIDs.begin(), sortedIDs.end(), id);
      if (found == sortedIDs.end() || *found != id) return false;
      return std::exchange(taken[static_cast<std::size_t>(found - sortedIDs.begin())], 1) == 0;
    };
    // Unlike remove_if this promises the order of the calls, on which isPending rests.
    auto kept = list.begin();
    for (const int32 id : list)
      if (!isPending(id)) *kept++ = id;
    list.erase(kept, list.end());
  }

  boost::unordered_map<IDList*, IDList> pending_;
};

}  // namespace

void SignalRepository::removeSignal(int32 id) {
  const DataPtr record = recordPointerByID(id);
  if (record->hasParent()) {
    eraseFirst(recordPointerByID(record->ParentID)->ChildIDs, id);
  } else {
    removeChildren(id);
  }
  removeFromGroups(id);
  std::vector<DataPtr>& list = signalsByRun[record->RunID];
  const auto place = std::find(list.begin(), list.end(), record);
  if (place != list.end()) list.erase(place);
  signalsBySource.erase(record->DataSource);  // whichever signal holds it; none is put back
  signals.erase(id);
}

void SignalRepository::removeChildren(int32 id) {
  const IDList children = recordPointerByID(id)->ChildIDs;  // each child leaves the live list
  for (const int32 child : children) removeSignal(child);
}

void SignalRepository::removeFromGroups(int32 id) {
  const auto entry = signals.find(id);
  if (entry == signals.end()) return;
  const Data& record = *entry->second;
  eraseFirst(blockGroups[record.BlockSource], id);
  eraseFirst(dataSourceGroups[record.rootDataSrc], id);
  eraseFirst(signalNameGroups[record.SignalLabel], id);
  eraseFirst(modelGroups[record.ModelSource], id);
}

void SignalRepository::removeRunRecords(int32 run) {
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  PendingErasures groups;
  for (const DataPtr& listed : signalsByRun[run]) {
    const auto entry = signals.find(listed->DataID);
    if (entry != signals.end()) {
      // The record in the table settles the keys; it is another one where an id was given out
      // twice.
      const Data& record = *entry->second;
      groups.add(blockGroups[record.BlockSource], record.DataID);
      groups.add(dataSourceGroups[record.rootDataSrc], record.DataID);
      groups.add(signalNameGroups[record.SignalLabel], record.DataID);
      groups.add(modelGroups[record.ModelSource], record.DataID);
      signals.erase(entry);
    }
    signalsBySource.erase(listed->DataSource);
  }
  groups.carryOut();
  signalsByRun.erase(run);
  runs.erase(run);
  eraseFirstOrLast(runIDs, run);
  // A run that stands in no list reads as instance 0, and costs that list its last entry.
  const int32 instance = instanceByRun[run];
  instanceByRun.erase(run);
  eraseFirstOrLast(runsByInstance[instance], run);
}

void SignalRepository::removeEmptyRun(int32 run) {
  removeRunRecords(run);
  --lastRunID;
}

void SignalRepository::deleteInstanceID(int32 instance) {
  const auto entry = runsByInstance.find(instance);
  if (entry == runsByInstance.end()) return;
  const IDList list = entry->second;
  for (const int32 run : list) removeRunRecords(run);
}

}  // namespace kvr
