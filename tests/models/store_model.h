// The model of the store: what it holds and does, as plainly as can be. Every table is a list that
// is searched from its front; the model is there to be read beside what it checks.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/models/plain_array.h"

namespace kvr::models {

// A table: pairs in the order of their making, searched from the front.
template <class K, class V>
class Table {
 public:
  V* find(const K& key) {
    for (auto& [k, value] : pairs_)
      if (k == key) return &value;
    return nullptr;
  }
  bool has(const K& key) { return find(key) != nullptr; }
  // The entry, made if there is none.
  V& at(const K& key) {
    if (V* value = find(key)) return *value;
    pairs_.emplace_back(key, V{});
    return pairs_.back().second;
  }
  void erase(const K& key) {
    std::erase_if(pairs_, [&](const auto& pair) { return pair.first == key; });
  }
  std::size_t size() const { return pairs_.size(); }
  void clear() { pairs_.clear(); }
  const std::vector<std::pair<K, V>>& pairs() const { return pairs_; }

 private:
  std::vector<std::pair<K, V>> pairs_;
};

struct Tolerance {
  int32 type = 0;
  std::array<double, 9> numbers{};  // in the order of kToleranceNumbers
  std::string fcnCall;
};
enum ToleranceNumber {
  Absolute,
  Relative,
  TimeStart,
  TimeEnd,
  TimeStep,
  InitAbs,
  AbsStep,
  InitRel,
  RelStep
};

struct Sync {
  int32 method = 0;  // union, intersection, uniform
  int32 interp = 0;  // zoh, linear
  double interval = 0.01;
  std::string custom;
  int32 type = 0;
};

struct Signal {
  int32 id = 0, run = 0, timeDim = 0, portIndex = 0, parent = 0, instance = -1;
  std::string rootSource, timeSource, dataSource, block, model, label, sid, rootDataSource;
  std::vector<int32> sampleDims, channel, children;
  PlainArray values, metaData;
  bool storedInFile = false, visible = false, hasParent = false;
  std::vector<double> color;
  std::string style;
  bool toleranceInherited = true, syncInherited = true;
  Tolerance tolerance;
  Sync sync;
};
using SignalPtr = std::shared_ptr<Signal>;

struct Run {
  std::string name, version;
  double date = 0;
};

// One of the four columns that signals are grouped by.
struct Column {
  Table<std::string, std::vector<int32>> groups;
  std::vector<std::string> names;
  void add(const std::string& name, int32 id);
  void remove(const std::string& name, int32 id);
};
enum ColumnCode {
  RunColumn,
  BlockColumn,
  SourceColumn,
  LabelColumn,
  ModelColumn
};

struct StoreModel;

// What belongs to the process and outlives stores.
struct Process {
  std::shared_ptr<StoreModel> current;  // null: absent
  int32 lastSignal = 0, lastRun = 0;
  int palette = -1;
  // The scratch file: absent, or the variables in it, Time and Data by signal id.
  bool fileExists = false;
  Table<int32, std::pair<PlainArray, PlainArray>> file;
  // The host's functions.
  bool versionFails = false, nowFails = false, timeseriesFails = false, tempdirFails = false;
  bool tempdirEmpty = false;
  bool anyFails() const {
    return versionFails || nowFails || timeseriesFails || tempdirFails || tempdirEmpty;
  }
  double clock = 0;  // the last answer of "now", which counts up
  std::string version = "test host 1";
  PlainArray timeseries;  // what "timeseries" gives

  StoreModel& getInstance();
  void clean();
  Run makeRun(const std::string& name);
  std::pair<std::vector<double>, std::string> nextLineAttributes();
  void createFile();
  void writeVariable(const PlainArray& values, int32 id);
  PlainArray readVariable(int32 id);
};

struct StoreModel {
  explicit StoreModel(Process& owner) : process(owner) {}

  Process& process;
  Table<std::string, SignalPtr> signalsBySource;
  Table<int32, SignalPtr> signals;
  Table<int32, std::vector<SignalPtr>> signalsByRun;
  Table<int32, std::vector<int32>> runsByInstance;
  Table<int32, int32> instanceByRun;
  std::array<Column, 5> columns;  // by code; the first is not used
  std::vector<int32> runIDs;
  Table<int32, Run> runs;
  Table<int32, Tolerance> runTolerances;
  Table<int32, Sync> runSyncs;
  bool writeFlag = false;

  // Runs.
  int32 createRun(const std::string& name, int32 instance);
  Run& run(int32 id);
  void removeRun(int32 id);
  void removeEmptyRun(int32 id);
  void deleteInstance(int32 instance);
  int32 copyRun(int32 source, int32 instance);
  int32 runAt(int32 position);

  // Signals. `signal` holds what the caller gave.
  int32 addSignal(Signal signal, int32 parent);
  Signal& byID(int32 id);
  Signal& bySource(const std::string& source);
  Signal& byRunIndex(int32 run, int32 index);
  void removeSignal(int32 id);
  int32 signalCount(int32 run);
  void setParent(int32 child, int32 parent);

  // Settings.
  Tolerance& toleranceOfRun(int32 run);
  Sync& syncOfRun(int32 run);
  Tolerance effectiveTolerance(const Signal& signal);
  Sync effectiveSync(const Signal& signal);

  // Columns.
  int32 groupCount(int code);
  std::vector<int32>& group(const std::string& name, int code, const char* word);
  std::string groupName(int32 index, int code, bool descending);
  std::string blockAt(int32 index);

 private:
  void construct(Signal& signal, const PlainArray& values, bool inFile);
  void insert(const SignalPtr& signal);
  void removeChildren(int32 id);
  void removeFromGroups(int32 id);
};

}  // namespace kvr::models
