// Removing signals and runs.
//
// The paths differ, as required: a removed signal looks after the hierarchy, a removed run does
// not, and neither touches the scratch file, the names of groups or the settings of runs. The id is
// taken out of the data source column under the record's rootDataSrc, although it was entered there
// under DataSource: where the two differ, the column goes on listing it.
//
// Lists that lose elements are walked once however many they lose: what is to go is noted first and
// carried out together. Noting may run out of memory, carrying out does not.
#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

// Takes the first occurrence out, or the last entry if there is none; of an empty list, nothing.
void eraseFirstOrLast(SignalRepository::IDList& list, int32 id) {
  const auto found = std::find(list.begin(), list.end(), id);
  if (found != list.end()) {
    list.erase(found);
  } else if (!list.empty()) {
    list.pop_back();
  }
}

// A list of ids that loses many, each as eraseFirstOrLast takes it out, and is rewritten once: when
// this ends. Making it may run out of memory, nothing else does. The list is not to be used
// meanwhile.
class ShrinkingList {
 public:
  using List = SignalRepository::IDList;

  explicit ShrinkingList(List& list)
      : list_(list), byID_(list.size()), isGone_(list.size()), end_(list.size()) {
    std::iota(byID_.begin(), byID_.end(), std::size_t{0});
    const auto isBefore = [&](std::size_t a, std::size_t b) {
      return list[a] != list[b] ? list[a] < list[b] : a < b;
    };
    if (!std::is_sorted(list.begin(), list.end())) std::sort(byID_.begin(), byID_.end(), isBefore);
  }
  ShrinkingList(const ShrinkingList&) = delete;
  ShrinkingList& operator=(const ShrinkingList&) = delete;
  ~ShrinkingList() {
    std::size_t kept = 0;
    for (std::size_t place = 0; place < end_; ++place) {
      if (!isGone_[place]) list_[kept++] = list_[place];
    }
    list_.resize(kept);
  }

  // To be called once for an id.
  void eraseFirstOrLast(int32 id) noexcept {
    const auto isBelow = [&](std::size_t place, int32 key) { return list_[place] < key; };
    const auto first = std::lower_bound(byID_.begin(), byID_.end(), id, isBelow);
    // Where the first is gone, it went as the last: so did the others before it.
    const bool isThere = first != byID_.end() && list_[*first] == id && !isGone_[*first];
    if (isThere)
      isGone_[*first] = true;
    else if (dropGoneEnd(), end_ > 0)
      isGone_[end_ - 1] = true;
  }

 private:
  void dropGoneEnd() noexcept {
    while (end_ > 0 && isGone_[end_ - 1]) --end_;
  }

  List& list_;
  std::vector<std::size_t> byID_;  // places by their ids, equal ones in their order
  std::vector<bool> isGone_;       // by place
  std::size_t end_;                // all from here on are gone
};

// In a walk over a list of records: asks for one that comes a few steps later.
void prefetchAhead(const std::vector<DataPtr>& list, std::size_t index) {
  constexpr std::size_t steps = 3;
  if (index + steps < list.size()) list[index + steps]->prefetch();
}

int32 keyOf(int32 id) { return id; }
const Data* keyOf(const DataPtr& record) { return record.get(); }

// Elements to be taken out of lists, each where it first stands, if it does.
template <class Element>
class Erasures {
 public:
  using List = std::vector<Element>;
  using Key = decltype(keyOf(std::declval<const Element&>()));

  // To be called once for a list and key before the next carryOut.
  void add(List& list, Key key) { doomed_.push_back({&list, key}); }

  void carryOut() noexcept {
    std::sort(doomed_.begin(), doomed_.end());
    for (auto first = doomed_.begin(); first != doomed_.end();) {
      List& list = *first->list;
      const auto isOfList = [&](const Doomed& doomed) { return doomed.list == &list; };
      const auto last = std::find_if_not(first, doomed_.end(), isOfList);
      erase(list, first, last);
      first = last;
    }
    doomed_.clear();
  }

 private:
  struct Doomed {
    List* list;
    Key key;
    bool gone = false;
    bool operator<(const Doomed& other) const {
      return list != other.list ? std::less<>()(list, other.list) : std::less<>()(key, other.key);
    }
  };
  using Place = typename std::vector<Doomed>::iterator;

  // `first` to `last` are those of the list, by their keys.
  static void erase(List& list, Place first, Place last) {
    const auto isBelow = [](const Doomed& doomed, Key key) {
      return std::less<>()(doomed.key, key);
    };
    Place found = first;
    Key previous{};
    const auto isDoomed = [&](Key key) {
      // Most lists rise: the search goes on from where the last one ended.
      if (std::less<>()(key, std::exchange(previous, key)))
        found = std::lower_bound(first, last, key, isBelow);
      while (found != last && isBelow(*found, key)) ++found;
      return found != last && found->key == key && !std::exchange(found->gone, true);
    };
    // Unlike remove_if this promises the order of the calls, on which isDoomed rests.
    auto kept = list.begin();
    for (auto place = list.begin(); place != list.end(); ++place) {
      if (isDoomed(keyOf(*place))) continue;
      if (kept != place) *kept = std::move(*place);
      ++kept;
    }
    list.erase(kept, list.end());
  }

  std::vector<Doomed> doomed_;
};

}  // namespace

// What one removal takes out of the store's lists. Carried out at the latest when it ends, also by
// a failure midway: what was removed before it stays removed.
class SignalRepository::Removal {
 public:
  Removal() = default;
  Removal(const Removal&) = delete;
  Removal& operator=(const Removal&) = delete;
  ~Removal() { carryOut(); }

  void fromList(IDList& list, int32 id) { ids_.add(list, id); }
  void fromRun(std::vector<DataPtr>& list, const DataPtr& record) {
    records_.add(list, record.get());
  }
  void fromChildren(const DataPtr& parent, int32 child) {
    ids_.add(parent->ChildIDs, child);
    if (parents_.empty() || parents_.back() != parent) parents_.push_back(parent);
  }

  void carryOut() noexcept {
    ids_.carryOut();
    records_.carryOut();
    parents_.clear();
  }

 private:
  Erasures<int32> ids_;
  Erasures<DataPtr> records_;
  std::vector<DataPtr> parents_;  // kept alive for their lists of children
};

void SignalRepository::removeSignal(int32 id) {
  Removal removal;
  removeSignal(id, removal);
}

void SignalRepository::removeSignal(int32 id, Removal& removal) {
  const DataPtr record = recordPointerByID(id);
  if (record->hasParent()) {
    removal.fromChildren(recordPointerByID(record->ParentID), id);
  } else if (!record->ChildIDs.empty()) {
    removeChildren(id, removal);
  }
  removeFromGroups(id, removal);
  removal.fromRun(signalsByRun[record->RunID], record);
  signalsBySource.erase(record->DataSource);  // whichever signal holds it; none is put back
  signals.erase(id);
}

void SignalRepository::removeChildren(int32 id, Removal& removal) {
  removal.carryOut();  // the list of children is to be the one that is left by now
  const IDList children = recordPointerByID(id)->ChildIDs;
  for (const int32 child : children) removeSignal(child, removal);
}

void SignalRepository::removeFromGroups(int32 id, Removal& removal) {
  const auto entry = signals.find(id);
  if (entry == signals.end()) return;
  const Data& record = *entry->second;
  removal.fromList(blockGroups[record.BlockSource], id);
  removal.fromList(dataSourceGroups[record.rootDataSrc], id);
  removal.fromList(signalNameGroups[record.SignalLabel], id);
  removal.fromList(modelGroups[record.ModelSource], id);
}

void SignalRepository::noteRunRecords(int32 run, Removal& removal) {
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  const std::vector<DataPtr>& list = signalsByRun[run];
  IDList ids;  // an id can stand in the list twice where numbers were given out twice
  for (const DataPtr& record : list) ids.push_back(record->DataID);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    prefetchAhead(list, i);  // in the order of the list most ids rise
    removeFromGroups(ids[i], removal);
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

// A run that stands in no list reads as instance 0, and costs that list its last entry.
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
  Removal removal;
  noteRunRecords(run, removal);

  // From here on nothing can run out of memory.
  removal.carryOut();
  eraseRunRecords(run);
  eraseFirstOrLast(runIDs, run);
  eraseFromInstance(takeInstanceOfRun(run), run);
}

void SignalRepository::removeEmptyRun(int32 run) {
  removeRun(run);
  --lastRunID;
}

// A run that is refused, or that there is no memory for, ends it: those before it are gone. Groups
// lose the signals of all runs at once.
void SignalRepository::deleteInstanceID(int32 instance) {
  const auto entry = runsByInstance.find(instance);
  if (entry == runsByInstance.end()) return;
  const IDList list = entry->second;
  Removal removal;
  ShrinkingList all(runIDs);
  ShrinkingList siblings(entry->second);
  for (const int32 run : list) {
    noteRunRecords(run, removal);
    eraseRunRecords(run);
    all.eraseFirstOrLast(run);
    const int32 owner = takeInstanceOfRun(run);
    if (owner == instance)
      siblings.eraseFirstOrLast(run);
    else
      eraseFromInstance(owner, run);
  }
}

}  // namespace kvr
