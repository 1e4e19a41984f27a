// The fixture of tests of the store: each begins with an empty store and ids that start at 1, and
// ends with the live arrays it began with.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kvrntob/store/signal_repository.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"
#include "tests/support/signal_builder.h"

namespace kvr::test {

class StoreTest : public LiveArraysTest {
 protected:
  StoreTest() { SignalRepository::drop(); }
  ~StoreTest() override { drop(); }

  // The store of the process.
  static SignalRepository& store() { return *SignalRepository::getInstance(); }

  // Drops the store and returns it. It is freed with the test, which nothing else does.
  SignalRepository& drop() {
    dropped_.emplace_back(&store());
    SignalRepository::drop();
    return *dropped_.back();
  }

  static int32 addRun(const std::string& name = "run", int32 instance = 1) {
    return store().createEmptyRun(name, instance);
  }

  // Adds a signal and returns its id.
  static int32 add(const SignalBuilder& signal) { return signal.addTo(store()); }
  static int32 addTo(int32 run) { return add(aSignal().inRun(run)); }

  // Adds so many signals to a run and returns their ids.
  static std::vector<int32> addSignals(int32 run, int count) {
    std::vector<int32> ids;
    for (int i = 0; i < count; ++i) ids.push_back(addTo(run));
    return ids;
  }

  // The ids of a run's signals in their order.
  static std::vector<int32> idsOfRun(int32 run) {
    std::vector<int32> ids;
    const int32 count = store().signalCount(run);
    for (int32 index = 1; index <= count; ++index)
      ids.push_back(store().signalIDByRunIndex(run, index));
    return ids;
  }

 private:
  std::vector<std::unique_ptr<SignalRepository>> dropped_;
};

// A store with one signal in one run.
class SignalTest : public StoreTest {
 protected:
  const int32 run = addRun();
  const int32 id = addTo(run);
};

}  // namespace kvr::test
