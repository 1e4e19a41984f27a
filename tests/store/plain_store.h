// The tables of the store, kept as plainly as can be: a reference for adding and removing. One step
// after another, nothing batched, nothing moved for speed. A failure throws its word.
#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kvr::test {

class PlainStore {
 public:
  using IDs = std::vector<int>;
  struct Signal {
    std::string tag;  // names the record, whatever its id
    int id = 0;
    int run = 0;
    int parent = 0;
    bool hasParent = false;
    std::string source, root, block, label, model;
    IDs children;
  };
  using SignalPtr = std::shared_ptr<Signal>;
  struct Column {
    std::map<std::string, IDs> groups;
    std::vector<std::string> names;
  };
  struct Failure : std::runtime_error {
    using runtime_error::runtime_error;
  };

  std::map<std::string, SignalPtr> bySource;
  std::map<int, SignalPtr> signals;
  std::map<int, std::vector<SignalPtr>> byRun;
  std::map<int, IDs> byInstance;
  std::map<int, int> instanceOf;
  Column blocks, sources, labels, models;
  IDs runIDs;
  std::map<int, std::string> runs;
  int lastSignalID = 0;
  int lastRunID = 0;

  int createRun(int instance) {
    const int run = ++lastRunID;
    runs[run] = "run";
    runIDs.push_back(run);
    byInstance[instance].push_back(run);
    instanceOf[run] = instance;
    return run;
  }
  void makeRunByDate(int run) { runs[run]; }

  int add(Signal signal) {
    if (runs.count(signal.run) == 0) throw Failure("Run ID");
    signal.id = ++lastSignalID;
    const auto record = std::make_shared<Signal>(signal);
    if (record->parent != 0) {
      require(record->parent)->children.push_back(record->id);
      record->hasParent = true;
    }
    bySource[record->source] = record;
    enter(blocks, record->block, record->id);
    enter(sources, record->source, record->id);
    enter(labels, record->label, record->id);
    enter(models, record->model, record->id);
    signals[record->id] = record;
    byRun[record->run].push_back(record);
    return record->id;
  }

  void remove(int id) {
    const SignalPtr record = require(id);
    if (!record->hasParent) {
      const IDs children = record->children;
      for (const int child : children) remove(child);
    } else {
      eraseFirst(require(record->parent)->children, id);
    }
    removeFromGroups(id);
    auto& list = byRun[record->run];
    const auto place = std::find(list.begin(), list.end(), record);
    if (place != list.end()) list.erase(place);
    bySource.erase(record->source);
    signals.erase(id);
  }

  void removeRun(int run) {
    if (runs.count(run) == 0) throw Failure("Run ID");
    for (const SignalPtr& record : byRun[run]) {
      removeFromGroups(record->id);
      bySource.erase(record->source);
      signals.erase(record->id);
    }
    byRun.erase(run);
    runs.erase(run);
    eraseFirstOrLast(runIDs, run);
    const int instance = instanceOf[run];
    instanceOf.erase(run);
    eraseFirstOrLast(byInstance[instance], run);
  }

  void removeEmptyRun(int run) {
    removeRun(run);
    --lastRunID;
  }

  void deleteInstance(int instance) {
    if (byInstance.count(instance) == 0) return;
    const IDs list = byInstance[instance];
    for (const int run : list) removeRun(run);
  }

  int count(int run) { return runs.count(run) != 0 ? static_cast<int>(byRun[run].size()) : 0; }

 private:
  SignalPtr require(int id) const {
    const auto entry = signals.find(id);
    if (entry == signals.end()) throw Failure("ID");
    return entry->second;
  }

  static void enter(Column& column, const std::string& key, int id) {
    if (column.groups.count(key) == 0) column.names.push_back(key);
    column.groups[key].push_back(id);
  }

  void removeFromGroups(int id) {
    if (signals.count(id) == 0) return;
    const Signal record = *signals[id];
    eraseFirst(blocks.groups[record.block], id);
    eraseFirst(sources.groups[record.root], id);
    eraseFirst(labels.groups[record.label], id);
    eraseFirst(models.groups[record.model], id);
  }

  static bool eraseFirst(IDs& list, int id) {
    const auto place = std::find(list.begin(), list.end(), id);
    if (place == list.end()) return false;
    list.erase(place);
    return true;
  }

  static void eraseFirstOrLast(IDs& list, int id) {
    if (!eraseFirst(list, id) && !list.empty()) list.pop_back();
  }
};

}  // namespace kvr::test
