// Signals of every class and many shapes in the scratch file, each read in every form and written
// while one file operation fails.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/files/file_status.h"
#include "tests/reliability/attempt.h"
#include "tests/reliability/sample_store.h"
#include "tests/reliability/store_snapshot.h"
#include "tests/reliability/tally.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

constexpr int kSignals = 84;
constexpr const char* kFile = "faults in files";

std::string sourceOf(int32 id) { return "source " + std::to_string(id); }

// Data and time of another class, shape and content for each number.
OwnedArray series(int number) {
  const auto size = static_cast<std::size_t>(number % 7);
  OwnedArray object = anObject("timeseries");
  const auto set = [&](const char* name, const OwnedArray& value) {
    vrSetProperty_730(object.get(), 0, name, value.get());
  };
  const int classID = vrDOUBLE_CLASS + number % 10;
  set("Time", aColumn(std::vector<double>(size, number)));
  if (number % 12 == 10) {
    set("Data", aStruct({"low", "high"}, {1, size}));
  } else if (number % 12 == 11) {
    set("Data", aText("text " + std::to_string(number)));
  } else {
    set("Data", number % 2 == 0 ? aNumeric(classID, {size, 2}) : aComplex(classID, {2, size, 2}));
  }
  return object;
}

// A run of signals in the file, made once for all tests.
class ScratchFaults : public LiveArraysTest {
 protected:
  void SetUp() override {
    store().stopWritingToFile();
    store().removeRun(1);
    store().removeRun(2);
    run_ = store().createEmptyRun("run", 4);
    store().writeToFile();
    for (int i = 0; i < kSignals; ++i)
      aSignal()
          .inRun(run_)
          .withSource(sourceOf(lastSignalID + 1))
          .withValues(kept(series(i)))
          .addTo(store());
    firstID_ = store().signalIDByRunIndex(run_, 1);
  }

  SignalRepository& store() const { return sample_.store(); }

  Attempt call(const char* method, const Arrays& inputs, const Fault& fault = {}) const {
    return attemptCall(*kvrClass("SignalRepository").findMethod(method), sample_.handle(), inputs,
                       fault);
  }

  // Calls with the first, the second ... file operation failing until none does. `failures` names
  // what becomes of each; the rest come through.
  void failEach(const char* method, const Arrays& inputs, FaultRepeat repeat,
                const std::vector<std::string>& failures) const {
    for (std::uint64_t number = 1;; ++number) {
      const Attempt attempt = call(method, inputs, {Site::FileOperation, number, repeat});
      EXPECT_EQ(vormel::openFileCount(), 0U);
      const bool fails = number <= failures.size();
      EXPECT_EQ(attempt.failure, fails ? failures[number - 1] : "") << method << ' ' << number;
      if (attempt.injected == 0) return;
      Tally::instance().add(kFile);
    }
  }

  template <class... Inputs>
  static Arrays in(Inputs&&... inputs) {
    Arrays arrays;
    (arrays.push_back(std::move(inputs)), ...);
    return arrays;
  }

  const SampleStore sample_{Keeping::InMemory};
  int32 run_ = 0;
  int32 firstID_ = 0;
};

TEST_F(ScratchFaults, reading_fails_by_the_operation_and_changes_nothing) {
  const Snapshot before = snapshotOf(store());
  const std::size_t arrays = vormel::liveArrayCount();
  const std::vector<std::string> failures{"FILE_NOT_LOCATED", "NON_EXISTENT ID"};
  const auto position = static_cast<int32>(before.state.runList.size());
  for (int32 index = 1; index <= kSignals; ++index) {
    const int32 id = firstID_ + index - 1;
    for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always}) {
      failEach("getSignal", in(anInt32(id)), repeat, failures);
      failEach("getSignal", in(aText(sourceOf(id))), repeat, failures);
      failEach("getSignal", in(anInt32(run_), anInt32(index)), repeat, failures);
      failEach("getSignalByRunIndex", in(anInt32(position), anInt32(index)), repeat, failures);
    }
  }
  EXPECT_EQ(vormel::liveArrayCount(), arrays);
  EXPECT_TRUE(snapshotOf(store()) == before) << "the store has changed";
}

// A failed copy leaves the new run and the signals before the failure; all of them can be read.
TEST_F(ScratchFaults, copying_stops_at_the_signal_that_fails) {
  constexpr int kCopied = 8;
  for (int32 id = firstID_ + kCopied; id < firstID_ + kSignals; ++id) store().removeSignal(id);
  for (std::uint64_t number = 1;; ++number) {
    const Attempt attempt =
        call("copyRun", in(anInt32(run_), anInt32(6)), {Site::FileOperation, number});
    if (attempt.injected == 0) break;
    Tally::instance().add(kFile);
    const std::string& operation = attempt.lastFault;
    EXPECT_EQ(attempt.failure.empty(), operation == "vfClose") << number;
    const auto whole = static_cast<int32>((number - 1) / 6);  // three to read, three to write
    EXPECT_EQ(store().signalCount(lastRunID), operation == "vfClose" ? kCopied : whole) << number;
    for (int32 i = 1; i <= store().signalCount(lastRunID); ++i)
      EXPECT_EQ(call("getSignal", in(anInt32(lastRunID), anInt32(i))).failure, "") << number;
    store().removeRun(lastRunID);
  }
}

// In writing, the file fails before the record is kept; its id and palette step are lost.
TEST_F(ScratchFaults, adding_fails_by_the_operation_and_loses_the_id) {
  for (int i = 0; i < kSignals; ++i) {
    for (std::uint64_t number = 1;; ++number) {
      const int32 last = lastSignalID;
      const int32 count = store().signalCount();
      std::string failure;
      const vormel::CallScope hostCall;  // which closes what a failed write leaves open
      const FaultPlan plan(FaultSite::FileOperation, number);
      try {
        aSignal().inRun(run_).withSource("new").withValues(kept(series(i))).addTo(store());
      } catch (...) {
        failure = textOf(std::current_exception());
      }
      EXPECT_EQ(failure, number < 3 ? "INPUT_MISMATCH timeseries" : "");
      EXPECT_EQ(lastSignalID, last + 1);
      EXPECT_EQ(store().signalCount(), number < 3 ? count : count + 1);
      if (plan.injected() == 0) break;
      Tally::instance().add(kFile);
    }
  }
}

}  // namespace
}  // namespace kvr::test
