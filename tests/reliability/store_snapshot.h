// All that can be seen of the store, as a value: taken before and after a call that is to change
// nothing, or one thing.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kvrntob/columns/columns.h"
#include "kvrntob/store/data.h"
#include "kvrntob/store/scratch_file.h"
#include "tests/binding/store_state.h"

namespace kvr::test {

struct Snapshot {
  StoreState state;
  int32 palette = paletteCounter;
  std::string scratchFile = scratchFileName;
  // Of each column but the runs': the ids of each group, by name.
  std::map<int, std::map<std::string, std::vector<int32>>> groups;
  // By run: its settings, which may be there without the run, and whether it has a list of signals.
  std::map<int32, ToleranceSettings> tolerances;
  std::map<int32, SyncOptions> syncOptions;
  std::vector<int32> runsWithList;
  std::map<int32, std::vector<int32>> runsByInstance;
  std::map<std::string, int32> bySource;

  bool operator==(const Snapshot&) const = default;
};

inline constexpr int32 kMostRuns = 12;       // runs and instances that a snapshot looks at
inline constexpr int32 kMostInstances = 10;  // beside what the state does

inline std::vector<int32> idsOfGroup(const SignalRepository& store, Column column,
                                     const std::string& name) {
  std::vector<int32> ids;
  const int32 count = store.groupIDCount(name, column);
  for (int32 i = 1; i <= count; ++i) ids.push_back(store.groupIDAt(i, name, column));
  return ids;
}

// Names of a column's groups. The order of the blocks' can be seen and is left alone; asking for
// the others by index sorts them, which nothing but the same question shows.
inline std::vector<std::string> groupNames(SignalRepository& store, Column column) {
  std::vector<std::string> names;
  for (int32 i = 1; i <= store.groupCount(column); ++i)
    names.push_back(column == Column::BlockPath ? store.blockSourceAt(i)
                                                : store.groupName(i, column, SortOrder::Ascending));
  return names;
}

inline bool hasSignalList(const SignalRepository& store, int32 run) {
  try {
    store.signalIDByRunIndex(run, 0);
  } catch (const vormel::HostException& failure) {
    return failure.word() == "Index";
  }
  return true;
}

inline Snapshot snapshotOf(SignalRepository& store) {
  Snapshot shot{.state = stateOf(store),
                .groups = {},
                .tolerances = {},
                .syncOptions = {},
                .runsWithList = {},
                .runsByInstance = {},
                .bySource = {}};
  for (const Column column :
       {Column::BlockPath, Column::DataSource, Column::SignalName, Column::Model})
    for (const std::string& name : groupNames(store, column))
      shot.groups[static_cast<int>(column)][name] = idsOfGroup(store, column, name);
  for (int32 run = 1; run <= kMostRuns; ++run) {
    if (const auto settings = ifThere([&] { return store.toleranceByRun(run); }))
      shot.tolerances[run] = *settings;
    if (const auto options = ifThere([&] { return store.syncOptionsByRun(run); }))
      shot.syncOptions[run] = *options;
    if (hasSignalList(store, run)) shot.runsWithList.push_back(run);
  }
  for (int32 instance = 0; instance < kMostInstances; ++instance)
    shot.runsByInstance[instance] = store.runIDsOfInstance(instance);
  for (const auto& [source, ids] : shot.groups[static_cast<int>(Column::DataSource)])
    if (const auto found =
            ifThere([&, name = source] { return store.recordPointerBySource(name)->getDataID(); }))
      shot.bySource[source] = *found;
  return shot;
}

}  // namespace kvr::test
