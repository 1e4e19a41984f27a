// All that the store holds, as a value: taken before and after a call that is to change nothing.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/columns/columns.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr::test {

// What `read` gives, or nothing if it fails.
template <class Read>
auto ifThere(Read read) -> std::optional<std::decay_t<decltype(read())>> {
  try {
    return read();
  } catch (const vormel::HostException&) {
    return std::nullopt;
  }
}

struct SignalState {
  int32 run, parent, instance, timeDim, portIndex;
  std::string rootSource, timeSource, dataSource, block, model, label, sid, rootDataSource, style;
  std::vector<int32> children, sampleDims, channel;
  std::vector<double> color;
  bool visible, storedInFile, toleranceInherited, syncOptionsInherited;
  const vrArray* values;
  const vrArray* metaData;
  std::optional<ToleranceSettings> tolerance;
  std::optional<SyncOptions> syncOptions;
  std::vector<std::optional<int32>> groupSizes;

  bool operator==(const SignalState&) const = default;
};

inline SignalState stateOf(const SignalRepository& store, int32 id) {
  const Data data = store.copyRecordByID(id);
  const auto groupSize = [&](Column column, const std::string& group) {
    return ifThere([&] { return store.groupIDCount(group, column); });
  };
  return {.run = data.getRunID(),
          .parent = data.getParentID(),
          .instance = data.getInstanceID(),
          .timeDim = data.getTimeDim(),
          .portIndex = data.getPortIndex(),
          .rootSource = data.getRootSource(),
          .timeSource = data.getTimeSource(),
          .dataSource = data.getDataSource(),
          .block = data.getBlockSource(),
          .model = data.getModelSource(),
          .label = data.getSignalLabel(),
          .sid = data.getSID(),
          .rootDataSource = data.getRootDataSrc(),
          .style = data.getLineDashed(),
          .children = store.childIDs(id),
          .sampleDims = data.getSampleDims(),
          .channel = data.getChannel(),
          .color = data.getLineColor(),
          .visible = data.isVisible(),
          .storedInFile = data.isStoredInFile(),
          .toleranceInherited = data.isToleranceInherited(),
          .syncOptionsInherited = data.isSyncOptionsInherited(),
          .values = data.getDataValues().get(),
          .metaData = data.getMetaData().get(),
          .tolerance = ifThere([&] { return data.effectiveTolerance(); }),
          .syncOptions = ifThere([&] { return data.effectiveSyncOptions(); }),
          .groupSizes = {groupSize(Column::BlockPath, data.getBlockSource()),
                         groupSize(Column::DataSource, data.getDataSource()),
                         groupSize(Column::DataSource, data.getRootDataSrc()),
                         groupSize(Column::SignalName, data.getSignalLabel()),
                         groupSize(Column::Model, data.getModelSource())}};
}

struct RunState {
  std::string name, version;
  double date;
  std::vector<int32> signals;
  std::optional<ToleranceSettings> tolerance;
  std::optional<SyncOptions> syncOptions;

  bool operator==(const RunState&) const = default;
};

inline RunState stateOfRun(const SignalRepository& store, int32 run) {
  RunState state{.name = store.runName(run),
                 .version = store.version(run),
                 .date = store.dateCreated(run),
                 .signals = {},
                 .tolerance = ifThere([&] { return store.toleranceByRun(run); }),
                 .syncOptions = ifThere([&] { return store.syncOptionsByRun(run); })};
  while (const auto id = ifThere([&] {
           return store.signalIDByRunIndex(run, static_cast<int32>(state.signals.size()) + 1);
         }))
    state.signals.push_back(*id);
  return state;
}

struct StoreState {
  int32 lastSignal = lastSignalID;
  int32 lastRun = lastRunID;
  std::vector<std::optional<SignalState>> signals;  // by id
  std::vector<std::optional<RunState>> runs;        // by id
  std::vector<int32> runList;
  std::vector<int32> groupCounts;
  std::vector<std::string> blockNames;

  bool operator==(const StoreState&) const = default;
};

inline StoreState stateOf(const SignalRepository& store) {
  StoreState state;
  for (int32 id = 1; id <= lastSignalID; ++id)
    state.signals.push_back(ifThere([&] { return stateOf(store, id); }));
  for (int32 run = 1; run <= lastRunID; ++run)
    state.runs.push_back(ifThere([&] { return stateOfRun(store, run); }));
  for (int32 i = 1; i <= store.groupCount(Column::RunName); ++i)
    state.runList.push_back(store.runIDAt(i));
  for (int column = 0; column <= 4; ++column)
    state.groupCounts.push_back(store.groupCount(static_cast<Column>(column)));
  for (int32 i = 1; i <= store.groupCount(Column::BlockPath); ++i)
    state.blockNames.push_back(store.blockSourceAt(i));
  return state;
}

// Fails the test at its end unless the store of the process is as it was at the start.
class UnchangedStore {
 public:
  UnchangedStore() = default;
  UnchangedStore(const UnchangedStore&) = delete;
  UnchangedStore& operator=(const UnchangedStore&) = delete;
  ~UnchangedStore() {
    EXPECT_TRUE(stateOf(*SignalRepository::getInstance()) == before_) << "the store has changed";
  }

 private:
  StoreState before_ = stateOf(*SignalRepository::getInstance());
};

}  // namespace kvr::test
