// Objects of the class, the one store behind them, and clean.
#include <memory>

#include "embedded_host/objects/object_record.h"
#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

const void* nativeOf(const Object& object) {
  return vormel::ObjectRecord::behind(object.handle())->nativeInstance();
}

class Lifecycle : public RepositoryTest {};

// ---- Objects ----

TEST_F(Lifecycle, two_objects_have_one_store) {
  const Object second = construct();
  EXPECT_EQ(nativeOf(repository), nativeOf(second));
  EXPECT_EQ(nativeOf(repository), SignalRepository::getInstance());
}

TEST_F(Lifecycle, signal_added_through_one_object_is_seen_through_the_other) {
  const Object second = construct();
  const int32 run = second.call("createEmptyRun", {"run", 1}).toInt32();
  callWithArrays("add", AddInputs(run).arrays());
  EXPECT_EQ(second.call("getSignalCount").toInt32(), 1);
}

TEST_F(Lifecycle, store_outlives_its_objects) {
  addTo(addRun());
  vormel::Interpreter::instance().end(repository);
  repository = Object();
  EXPECT_EQ(construct().call("getSignalCount").toInt32(), 1);
}

TEST_F(Lifecycle, constructor_takes_no_inputs) {
  expectHostError("TooManyInputs", [] {
    vormel::Interpreter::instance().construct("Dravik.kvr.SignalRepository", {1});
  });
}

TEST_F(Lifecycle, constructors_body_does_nothing_at_all) {
  const UnchangedStore unchanged;
  for (const int count : {0, 1, 3}) {
    const HandMadeCall call = executeByHand("SignalRepository", {}, 0, count);
    EXPECT_EQ(call.outputCount, count);
    EXPECT_EQ(call.outputs[0].word, 0);
  }
}

// ---- clean ----

TEST_F(Lifecycle, clean_makes_the_next_object_start_empty_with_ids_from_1) {
  addSignals(addRun(), 3);
  clean(repository);
  repository = construct();
  EXPECT_EQ(call("getSignalCount").toInt32(), 0);
  EXPECT_EQ(call("getRunCount").toInt32(), 0);
  EXPECT_EQ(call("getGroupCount", {"GMODEL"}).toInt32(), 0);
  EXPECT_EQ(call("createEmptyRun", {"run", 1}).toInt32(), 1);
  EXPECT_EQ(callWithArrays("add", AddInputs(1).arrays()).toInt32(), 1);
}

TEST_F(Lifecycle, clean_ends_the_object_it_was_called_on) {
  clean(repository);
  EXPECT_TRUE(repository.isEnded());
  expectFailure("INVALID_OBJ", [&] { call("getRunCount"); });
}

TEST_F(Lifecycle, clean_ends_its_object_and_none_of_its_surplus_inputs) {
  const std::unique_ptr<SignalRepository> dropped(&store());
  const Object other = construct();
  executeByHand("clean", {cellOf(repository.handle()), cellOf(other.handle())});
  EXPECT_TRUE(repository.isEnded());
  EXPECT_FALSE(other.isEnded());
}

TEST_F(Lifecycle, clean_ends_all_handles_of_the_object) {
  const Object copy = repository;
  clean(repository);
  EXPECT_TRUE(copy.isEnded());
}

TEST_F(Lifecycle, clean_leaves_the_output_count_alone_and_writes_nothing) {
  for (const int count : {0, 1, 2}) {
    const Object object = construct();
    SignalRepository& old = store();
    const CallResult result = object.invoke("clean", count);
    EXPECT_EQ(result.count, count);
    EXPECT_TRUE(result.cells.at(0).isNothing());
    delete &old;
  }
}

TEST_F(Lifecycle, object_that_outlives_clean_works_on_the_old_store) {
  const int32 run = addRun("old");
  addSignals(run, 2);
  const Object cleaner = construct();
  clean(cleaner);
  EXPECT_FALSE(repository.isEnded());
  EXPECT_EQ(call("getSignalCount").toInt32(), 2);
  EXPECT_EQ(call("getRunName", {run}).toString(), "old");
  EXPECT_EQ(construct().call("getSignalCount").toInt32(), 0);
}

// The counters belong to the process and not to the store.
TEST_F(Lifecycle, object_that_outlives_clean_hands_out_ids_that_its_store_holds) {
  const int32 run = addRun("old");
  addSignals(run, 2);
  clean(construct());
  EXPECT_EQ(call("getNextRunID").toInt32(), run);
  EXPECT_EQ(callWithArrays("add", AddInputs(run).arrays()).toInt32(), 1);
  EXPECT_EQ(call("getSignalCount").toInt32(), 2);
  EXPECT_EQ(call("getSignalCount", {run}).toInt32(), 3);
}

// Its run lists two signals of one id: a look-up by id finds the newer, or none once that is gone,
// and settings by run and index go by the id.
class RepeatedID : public Lifecycle {
 protected:
  RepeatedID() {
    add(aSignal().inRun(run).withLabel("older"));
    clean(construct());
    callWithArrays("add", AddInputs(run).with(AddInputs::SignalLabel, aText("newer")).arrays());
  }

  std::string label(Inputs inputs) const {
    return call("getSignal", inputs).field("SignalLabel").toString();
  }

  const int32 run = addRun();
};

TEST_F(RepeatedID, is_read_at_its_index_and_set_by_its_number) {
  EXPECT_EQ(label({run, 1}), "older");
  EXPECT_EQ(label({run, 2}), "newer");
  EXPECT_EQ(label({1}), "newer");
  call("setMetaData", {run, 1, "set at index 1"});
  EXPECT_EQ(call("getSignal", {run, 2}).field("MetaData").toString(), "set at index 1");
  EXPECT_EQ(call("getSignal", {run, 1}).field("MetaData").toString(), "metadata");
}

TEST_F(RepeatedID, once_removed_is_listed_in_its_run_and_unknown_by_its_number) {
  call("remove", {run, 1});
  EXPECT_EQ(label({run, 1}), "older");
  EXPECT_EQ(call("getID", {run, 1}).toInt32(), 1);
  for (const char* method : {"getTolerance", "getSyncOptions", "isToleranceInherited",
                             "resetSyncOptions", "getVisibility", "getRootDataSource", "remove"})
    expectFailure("NON_EXISTENT", "ID", [&] { call(method, {run, 1}); });
  expectFailure("NON_EXISTENT", "ID", [&] { call("setTimeStart", {run, 1, 0.5}); });
  expectFailure("NON_EXISTENT", "ID", [&] { call("setMetaData", {run, 1, 0.5}); });
}

TEST_F(Lifecycle, object_that_outlives_clean_reads_inherited_settings_from_the_new_store) {
  const int32 signal = addTo(addRun("old"));
  call("setAbsoluteToleranceByRun", {1, 0.25});
  clean(construct());
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getTolerance", {signal}); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getSyncOptions", {signal}); });
  EXPECT_TRUE(call("isToleranceInherited", {signal}).toBool());
  EXPECT_TRUE(call("isSyncOptionsInherited", {signal}).toBool());
}

TEST_F(Lifecycle, object_that_outlives_clean_reads_settings_of_a_new_run_of_the_same_number) {
  const int32 signal = addTo(addRun("old"));
  clean(construct());
  const Object fresh = construct();
  addTo(fresh.call("createEmptyRun", {"new", 1}).toInt32());
  fresh.call("setAbsoluteToleranceByRun", {1, 0.75});
  EXPECT_EQ(call("getTolerance", {signal}).field("absolute").toDouble(), 0.75);
}

TEST_F(Lifecycle, object_that_outlives_clean_reads_own_settings_as_before) {
  const int32 signal = addTo(addRun("old"));
  call("setAbsoluteTolerance", {signal, 0.25});
  clean(construct());
  EXPECT_EQ(call("getTolerance", {signal}).field("absolute").toDouble(), 0.25);
}

TEST_F(Lifecycle, clean_through_an_ended_object_drops_the_store_all_the_same) {
  addTo(addRun());
  vormel::Interpreter::instance().end(repository);
  EXPECT_NO_THROW(clean(repository));
  EXPECT_EQ(construct().call("getSignalCount").toInt32(), 0);
  EXPECT_EQ(lastSignalID, 0);
  EXPECT_EQ(lastRunID, 0);
}

TEST_F(Lifecycle, clean_with_a_handle_that_names_no_object_drops_the_store_all_the_same) {
  const OwnedArray number = aNumber(1);
  for (const vrArray* handle :
       {static_cast<const vrArray*>(nullptr), static_cast<const vrArray*>(number.get())}) {
    addTo(addRun());
    const std::unique_ptr<SignalRepository> old(&store());
    EXPECT_NO_THROW(executeByHand("clean", {cellOf(handle)}));
    EXPECT_EQ(store().signalCount(), 0);
    EXPECT_EQ(lastRunID, 0);
  }
}

TEST_F(Lifecycle, clean_through_an_object_of_an_old_store_drops_the_new_one) {
  clean(construct());
  const Object fresh = construct();
  addTo(fresh.call("createEmptyRun", {"new", 1}).toInt32());
  clean(repository);
  EXPECT_EQ(construct().call("getSignalCount").toInt32(), 0);
  EXPECT_EQ(fresh.call("getSignalCount").toInt32(), 1);
  EXPECT_EQ(lastSignalID, 0);
}

TEST_F(Lifecycle, palette_goes_on_after_clean) {
  const auto colorOfNext = [&] { return store().copyRecordByID(addTo(addRun())).getLineColor(); };
  std::vector<std::vector<double>> cycle;
  for (int i = 0; i < 16; ++i) cycle.push_back(colorOfNext());
  for (int i = 0; i < 3; ++i) colorOfNext();
  clean(construct());
  EXPECT_EQ(colorOfNext(), cycle[3]);
  EXPECT_EQ(colorOfNext(), cycle[4]);
}

}  // namespace
}  // namespace kvr::test
