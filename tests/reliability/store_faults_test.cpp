// The repository under faults: each call fails at its first, its second, its third ... operation,
// until it comes through untouched. After each fault the failure is the one it has to be, the store
// is as it was but for what a failed call may leave behind, and nothing is lost or left open.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "embedded_host/files/file_status.h"
#include "embedded_host/objects/object_record.h"
#include "kvrntob/store/data.h"
#include "tests/reliability/method_calls.h"
#include "tests/reliability/sample_store.h"
#include "tests/reliability/store_snapshot.h"
#include "tests/reliability/tally.h"
#include "tests/support/live_arrays.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

constexpr const char* kNoMemory = "out of memory";
constexpr const char* kSeries = "INPUT_MISMATCH timeseries";

bool isOneOf(const std::string& text, const std::set<std::string>& texts) {
  return texts.count(text) != 0;
}

// ---- Which failure it has to be ----

bool writesFile(const MethodCall& call) { return call.method == "add" || call.method == "copyRun"; }
bool makesFile(const MethodCall& call) { return call.method == "writeToFile"; }
bool readsFile(const MethodCall& call) {
  return call.method.starts_with("getSignal") || call.method == "copyRun";
}

std::set<std::string> memoryFailures(const MethodCall& call, Keeping keeping, Site site) {
  std::set<std::string> failures{kNoMemory};
  if (makesFile(call) || (writesFile(call) && keeping == Keeping::InFile)) failures.insert(kSeries);
  if (site == Site::HostMemory) return failures;
  // A file that cannot be opened for want of heap is one that cannot be opened, and whether it
  // could be made or closed, nobody asks.
  if (makesFile(call) || (writesFile(call) && keeping == Keeping::InFile))
    failures.insert(call.untouched);
  if (readsFile(call) && keeping == Keeping::InFile) failures.insert("FILE_NOT_LOCATED");
  return failures;
}

// By what failed.
std::string fileFailure(const MethodCall& call, const std::string& operation,
                        const Attempt& attempt) {
  if (operation == "vfPutVariable") return kSeries;
  if (operation == "vfGetVariable") return "NON_EXISTENT ID";
  if (operation == "vfClose" || makesFile(call)) return call.untouched;
  if (!readsFile(call)) return kSeries;
  // A copy reads and writes in turn.
  const bool isWriting = writesFile(call) && attempt.failure == kSeries;
  return isWriting ? kSeries : "FILE_NOT_LOCATED";
}

std::string functionFailure(const std::string& function) {
  return function == "tempdir" ? kSeries : "Vormel:InjectedFault";
}

bool isExpected(const MethodCall& call, Keeping keeping, Site site, const Attempt& attempt) {
  switch (site) {
    case Site::FileOperation:
      return attempt.failure == fileFailure(call, attempt.lastFault, attempt);
    case Site::HostFunction:
      return attempt.failure == functionFailure(attempt.lastFault);
    default:
      return isOneOf(attempt.failure, memoryFailures(call, keeping, site));
  }
}

// ---- Which state it has to be ----

void loseSignalID(Snapshot& shot) {
  ++shot.state.lastSignal;
  ++shot.palette;
  shot.state.signals.emplace_back();
}

void loseRunNumber(Snapshot& shot) {
  ++shot.state.lastRun;
  shot.state.runs.emplace_back();
}

void sortNames(Snapshot& shot) {
  std::sort(shot.state.blockNames.begin(), shot.state.blockNames.end());
}

// The part of a later snapshot that an earlier one could see: neither the newest run, nor its
// signals, nor the numbers given out.
Snapshot withoutCopy(Snapshot later, const Snapshot& earlier) {
  const auto isNew = [&](int32 id) { return id > earlier.state.lastSignal; };
  const int32 copy = earlier.state.lastRun + 1;
  later.palette = earlier.palette;
  later.state.lastSignal = earlier.state.lastSignal;
  later.state.lastRun = earlier.state.lastRun;
  later.state.signals.resize(earlier.state.signals.size());
  for (auto& signal : later.state.signals)
    if (signal) signal->groupSizes.clear();
  later.state.runs.resize(earlier.state.runs.size());
  std::erase(later.state.runList, copy);
  later.state.groupCounts.clear();
  for (auto& [column, groups] : later.groups)
    for (auto& [name, ids] : groups) std::erase_if(ids, isNew);
  later.tolerances.erase(copy);
  later.syncOptions.erase(copy);
  std::erase(later.runsWithList, copy);
  for (auto& [instance, runs] : later.runsByInstance) std::erase(runs, copy);
  later.bySource.clear();
  return later;
}

bool isAsItMayBe(const MethodCall& call, const Attempt& attempt, Snapshot before, Snapshot after) {
  switch (call.leaves) {
    case Leaves::RunNumber:
      loseRunNumber(before);
      break;
    case Leaves::SignalID:
      if (isOneOf(attempt.failure, {kSeries, "NON_EXISTENT ID"})) loseSignalID(before);
      break;
    case Leaves::Copy:
      before = withoutCopy(before, before);
      after = withoutCopy(after, before);
      break;
    case Leaves::SortedNames:
      sortNames(before);
      sortNames(after);
      break;
    case Leaves::SignalList:
      before.runsWithList = after.runsWithList;
      break;
    case Leaves::FileMode:
      before.scratchFile = after.scratchFile;
      break;
    default:
      break;
  }
  return before == after;
}

// A signal but for what other signals have to do with it.
std::optional<SignalState> alone(std::optional<SignalState> state) {
  if (!state) return state;
  state->children.clear();
  state->groupSizes.clear();
  return state;
}

// A call that was cut off in the middle of the tables: signals that were there are gone or whole,
// whatever the tables show can be read, and the store goes on working.
void expectUsable(const Snapshot& before, SignalRepository& store) {
  const Snapshot after = snapshotOf(store);
  for (std::size_t i = 0; i < before.state.signals.size(); ++i) {
    const auto left = alone(after.state.signals[i]);
    EXPECT_TRUE(!left || left == alone(before.state.signals[i])) << "signal " << i + 1;
  }
  const int32 run = store.createEmptyRun("a later run", 1);
  store.stopWritingToFile();
  const int32 id = aSignal().inRun(run).withSource("a later source").addTo(store);
  EXPECT_EQ(store.recordPointerBySource("a later source")->getDataID(), id);
  EXPECT_EQ(store.signalIDByRunIndex(run, store.signalCount(run)), id);
  store.removeSignal(id);
  EXPECT_FALSE(ifThere([&] { return store.parentID(id); }));
  for (int32 old = 1; old <= lastRunID; ++old)
    if (store.isValidRunID(old)) store.removeRun(old);
  EXPECT_EQ(store.runCount(), 0);
}

// The values of every signal are there.
void expectReadable(const SignalRepository& store) {
  for (int32 id = 1; id <= lastSignalID; ++id) {
    const DataPtr record = ifThere([&] { return store.recordPointerByID(id); }).value_or(DataPtr());
    EXPECT_TRUE(record == nullptr || OwnedArray(exportSignal(*record))) << id;
  }
}

// ---- The sweep ----

class Sweep {
 public:
  Sweep(const MethodCall& call, Keeping keeping, Site site, FaultRepeat repeat)
      : call_(call), keeping_(keeping), site_(site), repeat_(repeat) {}

  // Returns how many faults there were.
  std::uint64_t run() {
    std::uint64_t number = 1;
    while (failAt(number)) ++number;
    return number - 1;
  }

 private:
  // False once the call came through without a fault.
  bool failAt(std::uint64_t number) {
    if (!sample_) sample_ = std::make_unique<SampleStore>(keeping_);
    const Snapshot before = snapshotOf(sample_->store());
    const std::size_t arrays = vormel::liveArrayCount();
    const std::size_t objects = vormel::liveObjectCount();
    const auto& method = *kvrClass("SignalRepository").findMethod(call_.method);
    const vrArray* handle = method.isConstructor() ? nullptr : sample_->handle();
    const Attempt attempt = attemptCall(method, handle, inputs_, {site_, number, repeat_});
    EXPECT_EQ(vormel::openFileCount(), 0U) << number;
    EXPECT_EQ(vormel::liveObjectCount(), objects) << number;
    if (attempt.injected > 0) {
      check(number, attempt, before, arrays);
    } else {
      EXPECT_EQ(attempt.failure, call_.untouched);
    }
    if (attempt.injected == 0 || call_.leaves != Leaves::Nothing) sample_.reset();
    return attempt.injected > 0;
  }

  void check(std::uint64_t number, const Attempt& attempt, const Snapshot& before,
             std::size_t arrays) {
    EXPECT_TRUE(isExpected(call_, keeping_, site_, attempt))
        << "number " << number << ", " << attempt.lastFault << ": " << attempt.failure;
    if (attempt.failure == call_.untouched) {
      if (!makesFile(call_)) expectReadable(sample_->store());  // a fault that nobody asks about
      sample_.reset();
    } else if (mayCutTables()) {
      expectUsable(before, sample_->store());
    } else {
      EXPECT_TRUE(isAsItMayBe(call_, attempt, before, snapshotOf(sample_->store())))
          << "number " << number << ", " << attempt.lastFault << ": the store has changed";
      const bool mayHaveGrown = call_.leaves == Leaves::Copy;
      EXPECT_TRUE(mayHaveGrown || vormel::liveArrayCount() == arrays) << number;
    }
  }

  bool mayCutTables() const {
    const bool changesTables = call_.leaves == Leaves::Tables || call_.leaves == Leaves::SignalID ||
                               call_.leaves == Leaves::RunNumber || call_.leaves == Leaves::Copy;
    return site_ == Site::Heap && changesTables;
  }

  const MethodCall& call_;
  Keeping keeping_;
  Site site_;
  FaultRepeat repeat_;
  const Arrays inputs_ = call_.inputs();
  std::unique_ptr<SampleStore> sample_;
};

const char* nameOf(Site site) {
  switch (site) {
    case Site::HostMemory:
      return "faults in host memory";
    case Site::Heap:
      return "faults on the heap";
    case Site::FileOperation:
      return "faults in files";
    default:
      return "faults in host functions";
  }
}

struct SweepCase {
  const char* name;
  Site site;
  Keeping keeping;
};

class RepositoryFaults : public LiveArraysTest, public ::testing::WithParamInterface<SweepCase> {};

TEST_P(RepositoryFaults, every_call_fails_as_told_and_leaves_what_it_may) {
  kvrClass("SignalRepository").methods();
  const auto& [name, site, keeping] = GetParam();
  for (const MethodCall& call : repositoryCalls()) {
    for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always}) {
      SCOPED_TRACE(call.method + " " + call.form +
                   (repeat == FaultRepeat::Once ? ", once" : ", from then on"));
      const std::size_t arrays = vormel::liveArrayCount();
      const std::uint64_t faults = Sweep(call, keeping, site, repeat).run();
      EXPECT_EQ(vormel::liveArrayCount(), arrays) << "arrays after the store was freed";
      Tally::instance().add(nameOf(site), faults);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Sites, RepositoryFaults,
    ::testing::Values(SweepCase{"host_memory", Site::HostMemory, Keeping::InMemory},
                      SweepCase{"host_memory_in_file_mode", Site::HostMemory, Keeping::InFile},
                      SweepCase{"heap", Site::Heap, Keeping::InMemory},
                      SweepCase{"heap_in_file_mode", Site::Heap, Keeping::InFile},
                      SweepCase{"files", Site::FileOperation, Keeping::InFile},
                      SweepCase{"host_functions", Site::HostFunction, Keeping::InMemory},
                      SweepCase{"host_functions_in_file_mode", Site::HostFunction,
                                Keeping::InFile}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- Longer work, with more places to fail ----

class MemoryFaults : public LiveArraysTest, public ::testing::WithParamInterface<Site> {};

// The new run holds whole copies, each with all its tables but perhaps the last.
TEST_P(MemoryFaults, a_copy_that_stops_leaves_whole_signals) {
  constexpr int kSignals = 24;
  kvrClass("SignalRepository").methods();
  std::uint64_t number = 1;
  for (bool fails = true; fails; ++number) {
    const SampleStore sample(Keeping::InMemory);
    SignalRepository& store = sample.store();
    for (int i = 0; i < kSignals; ++i)
      aSignal().inRun(3).withSource("source " + std::to_string(i)).addTo(store);
    Arrays inputs;
    inputs.push_back(anInt32(3));
    inputs.push_back(anInt32(5));
    const Attempt attempt = attemptCall(*kvrClass("SignalRepository").findMethod("copyRun"),
                                        sample.handle(), inputs, {GetParam(), number});
    fails = attempt.injected > 0;
    EXPECT_EQ(attempt.failure, fails ? kNoMemory : "") << number;
    EXPECT_LE(store.signalCount(4), kSignals) << number;
    for (int32 i = 1; i <= store.signalCount(4); ++i)
      EXPECT_TRUE(OwnedArray(exportSignal(store.copyRecordByRunIndex(4, i)))) << number;
    Tally::instance().add(nameOf(GetParam()), fails ? 1 : 0);
  }
}

// Methods before the one without memory are registered, and none after it.
TEST_P(MemoryFaults, a_class_whose_methods_find_no_memory_keeps_those_before) {
  std::uint64_t number = 1;
  for (bool fails = true; fails; ++number) {
    vormel::ClassRecord cls("Test", std::make_unique<SignalRepositoryTOBClassInfo>());
    const Attempt attempt = attemptUnder({GetParam(), number}, [&](Attempt&) { cls.methods(); });
    fails = attempt.injected > 0;
    EXPECT_EQ(attempt.failure, fails ? kNoMemory : "") << number;
    const auto& registered = cls.methods();
    EXPECT_EQ(registered.size() < std::size(kRepositoryRows), fails) << number;
    for (std::size_t i = 0; i < registered.size(); ++i)
      EXPECT_EQ(registered[i]->name(), kvrClass("SignalRepository").methods()[i]->name());
    Tally::instance().add(nameOf(GetParam()), fails ? 1 : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Memory, MemoryFaults, ::testing::Values(Site::HostMemory, Site::Heap),
                         [](const auto& info) {
                           return info.param == Site::Heap ? "heap" : "host_memory";
                         });

// The table of calls is closed: it reaches every registered method.
TEST(RepositoryCalls, reach_every_method) {
  std::set<std::string> reached;
  for (const MethodCall& call : repositoryCalls()) reached.insert(call.method);
  EXPECT_EQ(reached, distinctNames(kRepositoryRows));
}

// ... and each call comes through when nothing fails.
TEST(RepositoryCalls, come_through_on_the_sample_store) {
  for (const Keeping keeping : {Keeping::InMemory, Keeping::InFile}) {
    for (const MethodCall& call : repositoryCalls()) {
      const SampleStore sample(keeping);
      const auto& method = *kvrClass("SignalRepository").findMethod(call.method);
      const Attempt attempt =
          attemptCall(method, method.isConstructor() ? nullptr : sample.handle(), call.inputs());
      EXPECT_EQ(attempt.failure, call.untouched) << call.method << " " << call.form;
    }
  }
}

}  // namespace
}  // namespace kvr::test
