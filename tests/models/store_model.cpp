// Making, finding and removing runs and signals.
#include "tests/models/store_model.h"

#include "tests/models/signatures.h"

namespace kvr::models {
namespace {

// Takes out the first occurrence. Returns false if there is none.
bool takeOut(std::vector<int32>& list, int32 number) {
  const auto found = std::find(list.begin(), list.end(), number);
  if (found == list.end()) return false;
  list.erase(found);
  return true;
}

// A number that the list does not hold takes the last one with it.
void takeOutOrDropLast(std::vector<int32>& list, int32 number) {
  if (!takeOut(list, number) && !list.empty()) list.pop_back();
}

}  // namespace

void Column::add(const std::string& name, int32 id) {
  if (!groups.has(name)) names.push_back(name);
  groups.at(name).push_back(id);
}

void Column::remove(const std::string& name, int32 id) { takeOut(groups.at(name), id); }

// ---- The process ----

StoreModel& Process::getInstance() {
  if (current == nullptr) current = std::make_shared<StoreModel>(*this);
  return *current;
}

void Process::clean() {
  lastSignal = 0;
  fileExists = false;
  file.clear();
  current = nullptr;
  lastRun = 0;
}

Run Process::makeRun(const std::string& name) {
  if (versionFails) failInHost(kFunctionFailure);
  if (nowFails) failInHost(kFunctionFailure);
  return {name, version, ++clock};
}

std::pair<std::vector<double>, std::string> Process::nextLineAttributes() {
  static const std::vector<double> rows[] = {
      {0, 0, 0},   {1, 0, 0},     {0, 1, 0},       {1, 1, 0},       {1, 0, 1}, {0, 0, 1},
      {1, 0.5, 0}, {0.5, 0, 1},   {0.5, 0.5, 0.5}, {0.5, 0.25, 0},  {0, 1, 1}, {0.75, 0.75, 0.75},
      {0, 0, 0.5}, {0, 0.5, 0.5}, {0, 0, 0.5},     {0.2, 0.81, 0.2}};
  static const char* const styles[] = {"-", "--", ":", "-."};
  ++palette;
  return {rows[palette % 16], styles[palette / 16 % 4]};
}

// ---- Runs ----

int32 StoreModel::createRun(const std::string& name, int32 instance) {
  const int32 id = ++process.lastRun;
  runs.at(id) = process.makeRun(name);
  runIDs.push_back(id);
  runsByInstance.at(instance).push_back(id);
  instanceByRun.at(id) = instance;
  return id;
}

Run& StoreModel::run(int32 id) {
  Run* found = runs.find(id);
  if (found == nullptr) fail("NON_EXISTENT", "Run ID");
  return *found;
}

int32 StoreModel::runAt(int32 position) {
  if (position < 1 || position > static_cast<int32>(runIDs.size())) fail("INDEX_OUT_OF_BOUNDS");
  return runIDs[static_cast<std::size_t>(position) - 1];
}

void StoreModel::removeRun(int32 id) {
  run(id);
  const std::vector<SignalPtr> list = signalsByRun.at(id);
  for (const SignalPtr& signal : list) {
    removeFromGroups(signal->id);
    signalsBySource.erase(signal->dataSource);
    signals.erase(signal->id);
  }
  signalsByRun.erase(id);
  runs.erase(id);
  takeOutOrDropLast(runIDs, id);
  const int32 instance = instanceByRun.at(id);
  instanceByRun.erase(id);
  takeOutOrDropLast(runsByInstance.at(instance), id);
}

void StoreModel::removeEmptyRun(int32 id) {
  removeRun(id);
  --process.lastRun;
}

void StoreModel::deleteInstance(int32 instance) {
  if (!runsByInstance.has(instance)) return;
  const std::vector<int32> list = runsByInstance.at(instance);
  for (const int32 id : list) removeRun(id);
}

int32 StoreModel::copyRun(int32 source, int32 instance) {
  const std::string name = run(source).name;
  const int32 copy = createRun(name, instance);
  const std::size_t count = signalsByRun.at(source).size();
  for (std::size_t i = 0; i < count; ++i) {
    const Signal& old = *signalsByRun.at(source)[i];
    const PlainArray values = old.storedInFile ? process.readVariable(old.id) : old.values;
    auto made = std::make_shared<Signal>();
    made->rootSource = old.rootSource;
    made->timeSource = old.timeSource;
    made->dataSource = old.dataSource;
    made->block = old.block;
    made->model = old.model;
    made->label = old.label;
    made->timeDim = old.timeDim;
    made->sampleDims = old.sampleDims;
    made->portIndex = old.portIndex;
    made->channel = old.channel;
    made->sid = old.sid;
    made->metaData = old.metaData;
    made->rootDataSource = old.rootDataSource;
    made->instance = old.instance;
    made->run = copy;
    construct(*made, values, writeFlag);
    insert(made);
  }
  return copy;
}

// ---- Signals ----

void StoreModel::construct(Signal& signal, const PlainArray& values, bool inFile) {
  signal.id = ++process.lastSignal;
  std::tie(signal.color, signal.style) = process.nextLineAttributes();
  signal.storedInFile = inFile;
  if (inFile) {
    process.writeVariable(values, signal.id);
  } else {
    signal.values = values;
  }
}

int32 StoreModel::addSignal(Signal given, int32 parent) {
  run(given.run);
  const int32* instance = instanceByRun.find(given.run);
  given.instance = instance == nullptr ? -1 : *instance;
  const auto signal = std::make_shared<Signal>(std::move(given));
  const PlainArray values = std::exchange(signal->values, PlainArray());
  construct(*signal, values, writeFlag);
  if (parent != 0) {
    byID(parent).children.push_back(signal->id);
    signal->hasParent = true;
    signal->parent = parent;
  }
  insert(signal);
  return signal->id;
}

void StoreModel::insert(const SignalPtr& signal) {
  signalsBySource.at(signal->dataSource) = signal;
  columns[BlockColumn].add(signal->block, signal->id);
  columns[SourceColumn].add(signal->dataSource, signal->id);
  columns[LabelColumn].add(signal->label, signal->id);
  columns[ModelColumn].add(signal->model, signal->id);
  runTolerances.at(signal->run);
  runSyncs.at(signal->run);
  signals.at(signal->id) = signal;
  signalsByRun.at(signal->run).push_back(signal);
}

Signal& StoreModel::byID(int32 id) {
  const SignalPtr* found = signals.find(id);
  if (found == nullptr) fail("NON_EXISTENT", "ID");
  return **found;
}

Signal& StoreModel::bySource(const std::string& source) {
  const SignalPtr* found = signalsBySource.find(source);
  if (found == nullptr) fail("NON_EXISTENT", "Signal source");
  return **found;
}

Signal& StoreModel::byRunIndex(int32 run, int32 index) {
  const std::vector<SignalPtr>* list = signalsByRun.find(run);
  if (list == nullptr) fail("NON_EXISTENT", "Run ID");
  if (index < 1 || index > static_cast<int32>(list->size())) fail("NON_EXISTENT", "Index");
  return *(*list)[static_cast<std::size_t>(index) - 1];
}

int32 StoreModel::signalCount(int32 run) {
  return runs.has(run) ? static_cast<int32>(signalsByRun.at(run).size()) : 0;
}

void StoreModel::setParent(int32 child, int32 parent) {
  if (signals.has(child) || signals.has(parent)) return;
  fail("NON_EXISTENT", "ID");
}

void StoreModel::removeSignal(int32 id) {
  Signal& found = byID(id);
  const SignalPtr signal = *signals.find(id);
  if (!found.hasParent && !found.children.empty()) removeChildren(id);
  if (found.hasParent) takeOut(byID(found.parent).children, id);
  removeFromGroups(id);
  std::vector<SignalPtr>& list = signalsByRun.at(found.run);
  const auto place = std::find(list.begin(), list.end(), signal);
  if (place != list.end()) list.erase(place);
  signalsBySource.erase(found.dataSource);
  signals.erase(id);
}

void StoreModel::removeChildren(int32 id) {
  const std::vector<int32> children = byID(id).children;
  for (const int32 child : children) removeSignal(child);
}

void StoreModel::removeFromGroups(int32 id) {
  if (!signals.has(id)) return;
  const Signal& signal = byID(id);
  columns[BlockColumn].remove(signal.block, id);
  columns[SourceColumn].remove(signal.rootDataSource, id);
  columns[LabelColumn].remove(signal.label, id);
  columns[ModelColumn].remove(signal.model, id);
}

// ---- Settings ----

Tolerance& StoreModel::toleranceOfRun(int32 run) {
  Tolerance* found = runTolerances.find(run);
  if (found == nullptr) fail("NON_EXISTENT", "Run ID");
  return *found;
}

Sync& StoreModel::syncOfRun(int32 run) {
  Sync* found = runSyncs.find(run);
  if (found == nullptr) fail("NON_EXISTENT", "Run ID");
  return *found;
}

Tolerance StoreModel::effectiveTolerance(const Signal& signal) {
  if (!signal.toleranceInherited) return signal.tolerance;
  return process.getInstance().toleranceOfRun(signal.run);
}

Sync StoreModel::effectiveSync(const Signal& signal) {
  if (!signal.syncInherited) return signal.sync;
  return process.getInstance().syncOfRun(signal.run);
}

// ---- Columns ----

int32 StoreModel::groupCount(int code) {
  if (code == RunColumn) return static_cast<int32>(runIDs.size());
  return static_cast<int32>(columns[static_cast<std::size_t>(code)].names.size());
}

std::vector<int32>& StoreModel::group(const std::string& name, int code, const char* word) {
  if (code == RunColumn) fail("NON_EXISTENT", "Column name");
  std::vector<int32>* found = columns[static_cast<std::size_t>(code)].groups.find(name);
  if (found == nullptr) fail("NON_EXISTENT", word);
  return *found;
}

std::string StoreModel::groupName(int32 index, int code, bool descending) {
  if (index < 1 || index > groupCount(code)) fail("INDEX_OUT_OF_BOUNDS");
  if (code == RunColumn) return run(runAt(index)).name;
  std::vector<std::string>& names = columns[static_cast<std::size_t>(code)].names;
  std::sort(names.begin(), names.end());
  if (descending) std::reverse(names.begin(), names.end());
  return names[static_cast<std::size_t>(index) - 1];
}

std::string StoreModel::blockAt(int32 index) {
  const std::vector<std::string>& names = columns[BlockColumn].names;
  if (index < 1 || index > static_cast<int32>(names.size())) fail("NON_EXISTENT", "Index");
  return names[static_cast<std::size_t>(index) - 1];
}

}  // namespace kvr::models
