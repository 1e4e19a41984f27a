#include "tests/reliability/leftovers.h"
#include "kvrntob/columns/columns.h"

#include <filesystem>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/objects/object_record.h"
#include "kvrntob/host/libvf.h"
#include "tests/reliability/store_snapshot.h"

namespace kvr::test {
namespace {

constexpr int32 kMost = 40;

class Accountant {
 public:
  Account take() {
    countProcess();
    countRuns();
    countSignals();
    for (const Column column :
         {Column::BlockPath, Column::DataSource, Column::SignalName, Column::Model})
      countGroups(column);
    countScratchFile();
    std::erase_if(account_, [](const auto& entry) { return entry.second == 0; });
    return account_;
  }

 private:
  void count(const std::string& kind, std::size_t number) {
    account_[kind] += static_cast<std::int64_t>(number);
  }

  bool isSignal(int32 id) const {
    return ifThere([&] { return store_.recordPointerByID(id); }).has_value();
  }

  void countProcess() {
    count("live arrays", vormel::liveArrayCount());
    count("live objects", vormel::liveObjectCount());
    count("open files", vormel::openFileCount());
    account_["signal ids given out"] = lastSignalID;
    account_["run ids given out"] = lastRunID;
    account_["palette steps taken"] = paletteCounter + 1;
  }

  void countRuns() {
    for (int32 run = 1; run <= kMost; ++run) {
      const bool isRun = store_.isValidRunID(run);
      count("runs", isRun ? 1 : 0);
      if (ifThere([&] { return store_.toleranceByRun(run).absolute; }))
        count(isRun ? "tolerances of runs" : "tolerances of no run", 1);
      if (ifThere([&] { return store_.syncOptionsByRun(run).syncType; }))
        count(isRun ? "sync options of runs" : "sync options of no run", 1);
      if (hasSignalList(store_, run) && !ifThere([&] { return store_.signalIDByRunIndex(run, 1); }))
        count("empty lists of signals", 1);
    }
  }

  void countSignals() {
    count("signals", static_cast<std::size_t>(store_.signalCount()));
    for (int32 id = 1; id <= kMost; ++id) {
      if (!isSignal(id)) continue;
      for (const int32 child : store_.childIDs(id))
        count("children that are no signal", isSignal(child) ? 0 : 1);
      if (store_.hasParent(id))
        count("parents that are no signal", isSignal(store_.parentID(id)) ? 0 : 1);
    }
  }

  void countGroups(Column column) {
    for (const std::string& name : groupNames(store_, column)) {
      const std::vector<int32> ids = idsOfGroup(store_, column, name);
      count("names of empty groups", ids.empty() ? 1 : 0);
      for (const int32 id : ids) count("ids in groups that are no signal", isSignal(id) ? 0 : 1);
    }
    const std::string unnamed = "a group without a name";
    if (ifThere([&] { return store_.groupIDCount(unnamed, column); }))
      count("groups without a name", 1);
  }

  void countScratchFile() {
    if (!std::filesystem::exists(scratchFileName)) return;
    vfFile* file = vfOpen(scratchFileName.c_str(), "r");
    for (int32 id = 1; id <= kMost; ++id) {
      vrArray* variable = vfGetVariable(file, ("id" + std::to_string(id)).c_str());
      const auto record = ifThere([&] { return store_.recordPointerByID(id); });
      const bool isOfSignal = record && (*record)->isStoredInFile();
      if (variable != nullptr && !isOfSignal) count("scratch variables of no signal", 1);
      vrDestroyArray(variable);
    }
    vfClose(file);
    count("scratch files", 1);
  }

  SignalRepository& store_ = *SignalRepository::getInstance();
  Account account_;
};

}  // namespace

Account takeAccount() { return Accountant().take(); }

Account difference(const Account& before, const Account& after) {
  Account change = after;
  for (const auto& [kind, count] : before) change[kind] -= count;
  std::erase_if(change, [](const auto& entry) { return entry.second == 0; });
  return change;
}

}  // namespace kvr::test
