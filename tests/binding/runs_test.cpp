// Methods that make, list, read, rename, copy and remove runs.
#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"
#include "tests/support/replaced_function.h"

namespace kvr::test {
namespace {

class Runs : public RepositoryTest {
 protected:
  int32 make(const char* name = "run", int32 instance = 1) const {
    return call("createEmptyRun", {name, instance}).toInt32();
  }
};

// Host functions with answers of the test's own.
class RunsOfKnownDate : public Runs {
 protected:
  double date = 100.5;
  std::string version = "first";
  const ReplacedFunction now{"now", [this] { return aNumber(date); }};
  const ReplacedFunction versionText{"version", [this] { return aText(version); }};
};

// ---- createEmptyRun, getNextRunID ----

TEST_F(Runs, ids_count_from_1_and_come_as_int32_cells) {
  for (const int count : {0, 1, 2}) {
    const CallResult result = invoke("createEmptyRun", count, {"name", 7});
    EXPECT_EQ(result.count, count);
    EXPECT_EQ(result.cells.at(0).array(), nullptr);
    EXPECT_EQ(result.cells.at(0).toInt32(), count + 1);
  }
}

TEST_F(Runs, next_id_is_told_and_not_used_up) {
  EXPECT_EQ(call("getNextRunID").toInt32(), 1);
  EXPECT_EQ(call("getNextRunID").array(), nullptr);
  EXPECT_EQ(call("getNextRunID").toInt32(), 1);
  EXPECT_EQ(make(), 1);
  EXPECT_EQ(call("getNextRunID").toInt32(), 2);
  for (const int count : {0, 1, 3}) EXPECT_EQ(invoke("getNextRunID", count).count, count);
}

TEST_F(Runs, names_and_instances_are_not_looked_at) {
  for (const char* name : {"same", "same", "", "Größe"})
    for (const int32 instance : {0, -1, INT32_MIN, INT32_MAX})
      EXPECT_EQ(call("getRunName", {make(name, instance)}).toString(), name);
}

TEST_F(Runs, host_function_that_fails_loses_the_number) {
  {
    const ReplacedFunction failing(
        "now", []() -> OwnedArray { throw vormel::HostError("Clock", "The clock has stopped."); });
    expectHostError("Clock", [&] { make(); });
  }
  EXPECT_EQ(call("getRunCount").toInt32(), 0);
  EXPECT_EQ(make(), 2);
}

// ---- Reading ----

TEST_F(RunsOfKnownDate, record_holds_name_version_and_date_of_its_making) {
  const int32 run = make("Monday");
  EXPECT_EQ(call("getRunName", {run}).toString(), "Monday");
  EXPECT_EQ(call("getVersion", {run}).toString(), "first");
  EXPECT_EQ(call("getDateCreated", {run}).toDouble(), 100.5);
}

TEST_F(RunsOfKnownDate, record_comes_as_texts_and_a_double_scalar) {
  const int32 run = make("Monday");
  expectArray(call("getRunName", {run}), vrCHAR_CLASS, {1, 6});
  expectArray(call("getVersion", {run}), vrCHAR_CLASS, {1, 5});
  expectArray(call("getDateCreated", {run}), vrDOUBLE_CLASS, {1, 1});
  expectArray(call("getRunName", {make("")}), vrCHAR_CLASS, {0, 0});
}

TEST_F(RunsOfKnownDate, set_name_replaces_the_name_alone) {
  const int32 run = make("Monday");
  version = "second";
  date = 200;
  call("setRunName", {run, "Tuesday"});
  EXPECT_EQ(call("getRunName", {run}).toString(), "Tuesday");
  EXPECT_EQ(call("getVersion", {run}).toString(), "first");
  EXPECT_EQ(call("getDateCreated", {run}).toDouble(), 100.5);
}

TEST_F(RunsOfKnownDate, update_of_the_date_refreshes_the_version_too_and_keeps_the_name) {
  const int32 run = make("Monday");
  version = "second";
  date = 200;
  call("updateDateCreated", {run});
  EXPECT_EQ(call("getRunName", {run}).toString(), "Monday");
  EXPECT_EQ(call("getVersion", {run}).toString(), "second");
  EXPECT_EQ(call("getDateCreated", {run}).toDouble(), 200);
}

TEST_F(RunsOfKnownDate, set_date_replaces_the_date_alone) {
  const int32 run = make("Monday");
  call("setDateCreated", {run, -3.25});
  EXPECT_EQ(call("getDateCreated", {run}).toDouble(), -3.25);
  EXPECT_EQ(call("getVersion", {run}).toString(), "first");
  EXPECT_EQ(call("getRunName", {run}).toString(), "Monday");
}

// On purpose left unguarded.
TEST_F(Runs, date_of_an_unknown_run_makes_one_that_stands_in_no_list) {
  make();
  call("setDateCreated", {50, 1.5});
  EXPECT_EQ(call("getRunCount").toInt32(), 2);
  EXPECT_TRUE(call("isValidRunID", {50}).toBool());
  EXPECT_EQ(call("getRunName", {50}).toString(), "");
  EXPECT_EQ(call("getVersion", {50}).toString(), "");
  EXPECT_EQ(call("getGroupCount", {"GRUNNAME"}).toInt32(), 1);
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { call("getRunID", {2}); });
  EXPECT_EQ(call("getAllRunIDs", {0}).size(), 0U);
}

TEST_F(Runs, signal_of_a_run_made_by_its_date_has_instance_minus_one) {
  call("setDateCreated", {50, 1.5});
  EXPECT_EQ(call("getInstanceID", {addTo(50)}).toInt32(), -1);
}

TEST_F(Runs, unknown_run_reports_run_id) {
  make();
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 2, INT32_MAX, INT32_MIN}) {
    for (const char* method : {"getRunName", "getVersion", "getDateCreated", "updateDateCreated",
                               "removeRun", "removeEmptyRun"})
      expectFailure("NON_EXISTENT", "Run ID", [&] { call(method, {unknown}); });
    expectFailure("NON_EXISTENT", "Run ID", [&] { call("setRunName", {unknown, "name"}); });
    expectFailure("NON_EXISTENT", "Run ID", [&] { call("copyRun", {unknown, 1}); });
  }
}

TEST_F(Runs, validity_is_a_logical_scalar) {
  make();
  expectArray(call("isValidRunID", {1}), vrLOGICAL_CLASS, {1, 1});
  EXPECT_TRUE(call("isValidRunID", {1}).toBool());
  for (const int32 unknown : {0, 2, -1}) EXPECT_FALSE(call("isValidRunID", {unknown}).toBool());
}

TEST_F(Runs, count_is_an_int32_scalar) {
  EXPECT_EQ(call("getRunCount").toInt32(), 0);
  make();
  make();
  expectArray(call("getRunCount"), vrINT32_CLASS, {1, 1});
  EXPECT_EQ(call("getRunCount").toInt32(), 2);
}

TEST_F(Runs, validity_and_count_always_set_the_output_count_to_one) {
  for (const int count : {0, 1, 4}) {
    EXPECT_EQ(invoke("isValidRunID", count, {1}).count, 1);
    EXPECT_EQ(invoke("getRunCount", count).count, 1);
  }
}

TEST_F(Runs, other_methods_leave_the_output_count_alone) {
  const int32 run = make();
  for (const int count : {0, 1, 4}) {
    for (const char* reader : {"getRunName", "getVersion", "getDateCreated", "getAllRunIDs"}) {
      EXPECT_EQ(invoke(reader, count, {run}).count, count) << reader;
      EXPECT_FALSE(invoke(reader, count, {run}).cells.at(0).isNothing()) << reader;
    }
    EXPECT_EQ(invoke("getRunID", count, {1}).count, count);
    EXPECT_EQ(invoke("setRunName", count, {run, "name"}).count, count);
    EXPECT_EQ(invoke("setDateCreated", count, {run, 1.0}).count, count);
    EXPECT_EQ(invoke("updateDateCreated", count, {run}).count, count);
    EXPECT_EQ(invoke("copyRun", count, {run, 1}).count, count);
  }
}

TEST_F(Runs, fixed_methods_do_not_look_at_surplus_inputs) {
  const int32 run = make("Monday");
  EXPECT_EQ(call("getRunName", {run, 99, 99}).toString(), "Monday");
  EXPECT_EQ(call("getAllRunIDs", {1, 99}).size(), 1U);
  EXPECT_EQ(call("getRunID", {1, "more"}).toInt32(), run);
  call("setRunName", {run, "Tuesday", "Friday"});
  EXPECT_EQ(call("getRunName", {run}).toString(), "Tuesday");
}

// ---- getAllRunIDs ----

TEST_F(Runs, of_an_instance_are_an_int32_row_in_order_of_creation) {
  for (const int32 instance : {7, 8, 7}) make("run", instance);
  const Value ids = call("getAllRunIDs", {7});
  expectArray(ids, vrINT32_CLASS, {1, 2});
  EXPECT_EQ(ids.toInt32s(), (std::vector<int32>{1, 3}));
}

TEST_F(Runs, of_an_instance_without_any_are_1_by_0) {
  make("run", 7);
  call("removeRun", {1});
  expectArray(call("getAllRunIDs", {7}), vrINT32_CLASS, {1, 0});
  expectArray(call("getAllRunIDs", {8}), vrINT32_CLASS, {1, 0});
}

// ---- getRunID ----

TEST_F(Runs, position_counts_from_1_and_closes_up) {
  for (int i = 0; i < 3; ++i) make();
  expectArray(call("getRunID", {1}), vrINT32_CLASS, {1, 1});
  EXPECT_EQ(call("getRunID", {1}).toInt32(), 1);
  call("removeRun", {1});
  EXPECT_EQ(call("getRunID", {1}).toInt32(), 2);
  EXPECT_EQ(call("getRunID", {2}).toInt32(), 3);
}

TEST_F(Runs, position_is_of_every_integer_class) {
  make();
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls)
    EXPECT_EQ(call("getRunID", {aScalar<std::int8_t>(cls, 1)}).toInt32(), 1) << cls;
}

TEST_F(Runs, position_that_is_no_real_integer_scalar_reports_integer) {
  make();
  const UnchangedStore unchanged;
  for (const auto& bad : Makers{half, singleTwo, truth, someText, twoNumbers, twoInt32s, noInt32,
                                anEmpty, fieldlessStruct, point, emptyCell})
    expectFailure("INPUT_MISMATCH", "integer", [&] { call("getRunID", {bad()}); });
  expectFailure("INPUT_MISMATCH", "integer", [&] { call("getRunID", {1.0}); });
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls)
    expectFailure("INPUT_MISMATCH", "integer", [&] { call("getRunID", {aComplex(cls, {1, 1})}); });
}

TEST_F(Runs, position_of_the_class_behind_the_integers_reports_integer) {
  make();
  const OwnedArray handle = owned(vormel::makeFunctionHandle("sin"));
  ASSERT_EQ(vrGetClassID(handle.get()), vrUINT64_CLASS + 1);
  expectFailure("INPUT_MISMATCH", "integer", [&] { call("getRunID", {handle}); });
}

TEST_F(Runs, position_outside_the_list_reports_index_out_of_bounds) {
  make();
  const UnchangedStore unchanged;
  for (const int32 position : {2, 0, -1, INT32_MAX, INT32_MIN})
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { call("getRunID", {position}); });
  const OwnedArray beyond = aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + 1);
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { call("getRunID", {beyond}); });
}

// ---- copyRun ----

TEST_F(RunsOfKnownDate, copy_has_the_sources_name_and_its_own_version_date_and_instance) {
  const int32 source = make("Monday", 7);
  version = "second";
  date = 200;
  const int32 copy = call("copyRun", {source, 8}).toInt32();
  EXPECT_EQ(call("getRunName", {copy}).toString(), "Monday");
  EXPECT_EQ(call("getVersion", {copy}).toString(), "second");
  EXPECT_EQ(call("getDateCreated", {copy}).toDouble(), 200);
  EXPECT_EQ(call("getAllRunIDs", {8}).toInt32s(), std::vector<int32>{copy});
}

TEST_F(Runs, copy_holds_new_signals_in_the_sources_order) {
  const int32 source = make();
  for (const char* label : {"a", "b", "c"}) add(aSignal().inRun(source).withLabel(label));
  const int32 copy = call("copyRun", {source, 1}).toInt32();
  for (int32 index = 1; index <= 3; ++index) {
    const Value signal = call("getSignal", {copy, index});
    EXPECT_EQ(signal.field("DataID").toInt32(), 3 + index);
    EXPECT_EQ(signal.field("RunID").toInt32(), copy);
    EXPECT_EQ(signal.field("SignalLabel").toString(), std::string(1, "abc"[index - 1]));
  }
}

TEST_F(Runs, copied_signal_keeps_the_instance_of_its_source_and_none_of_its_settings) {
  const int32 source = make("run", 7);
  const int32 parent = addTo(source);
  const int32 child = add(aSignal().inRun(source).under(parent));
  call("setAbsoluteTolerance", {child, 0.5});
  call("setVisibility", {child, true});
  call("setToleranceByRun", {source, call("getTolerance", {child})});
  const int32 copy = call("copyRun", {source, 8}).toInt32();
  EXPECT_EQ(call("getInstanceID", {copy, 2}).toInt32(), 7);
  EXPECT_TRUE(call("isToleranceInherited", {copy, 2}).toBool());
  EXPECT_EQ(call("getTolerance", {copy, 2}).field("absolute").toDouble(), 0);
  EXPECT_FALSE(call("getVisibility", {copy, 2}).toBool());
  EXPECT_EQ(invoke("getChildrenAndParent", 3, {copy, 2}).cells.at(2).toInt32(), 0);
}

TEST_F(Runs, copy_of_an_empty_run_is_empty) {
  const int32 copy = call("copyRun", {make("empty"), 3}).toInt32();
  EXPECT_EQ(call("getSignalCount", {copy}).toInt32(), 0);
  EXPECT_EQ(call("getRunName", {copy}).toString(), "empty");
}

TEST_F(Runs, metadata_of_a_copy_is_its_own) {
  const int32 source = make();
  addTo(source);
  call("copyRun", {source, 1});
  call("setMetaData", {2, "changed"});
  EXPECT_EQ(call("getSignal", {1}).field("MetaData").toString(), "metadata");
  EXPECT_EQ(call("getSignal", {2}).field("MetaData").toString(), "changed");
}

// ---- Removing ----

TEST_F(Runs, removal_takes_the_signals_along_and_leaves_the_counter) {
  const int32 run = make("run", 7);
  addSignals(run, 3);
  call("removeRun", {run});
  EXPECT_EQ(call("getSignalCount").toInt32(), 0);
  EXPECT_FALSE(call("isValidRunID", {run}).toBool());
  EXPECT_EQ(call("getNextRunID").toInt32(), run + 1);
}

TEST_F(Runs, removal_of_an_empty_run_takes_one_off_the_counter_whichever_run_it_was) {
  for (int i = 0; i < 3; ++i) make();
  addTo(1);
  call("removeEmptyRun", {1});
  EXPECT_EQ(call("getNextRunID").toInt32(), 3);
  EXPECT_TRUE(call("isValidRunID", {3}).toBool());
  EXPECT_EQ(call("getSignalCount").toInt32(), 0);
}

TEST_F(Runs, number_given_out_again_overwrites_the_record_and_stands_twice_in_the_list) {
  for (const char* name : {"one", "two"}) make(name, 7);
  call("removeEmptyRun", {1});
  EXPECT_EQ(make("again", 7), 2);
  EXPECT_EQ(call("getRunName", {2}).toString(), "again");
  EXPECT_EQ(call("getRunCount").toInt32(), 1);
  EXPECT_EQ(call("getAllRunIDs", {7}).toInt32s(), (std::vector<int32>{2, 2}));
}

TEST_F(Runs, all_of_an_instance_are_dropped_at_once) {
  for (const int32 instance : {7, 8, 7}) addTo(make("run", instance));
  call("deleteInstanceID", {7});
  EXPECT_EQ(call("getAllRunIDs", {7}).size(), 0U);
  EXPECT_EQ(call("getRunCount").toInt32(), 1);
  EXPECT_EQ(call("getSignalCount").toInt32(), 1);
  EXPECT_EQ(call("getNextRunID").toInt32(), 4);
}

TEST_F(Runs, dropping_an_unknown_instance_does_nothing) {
  make("run", 7);
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, 8, -7})
    EXPECT_EQ(invoke("deleteInstanceID", 0, {unknown}).count, 0);
}

TEST_F(Runs, settings_of_a_number_given_out_again_are_found_again) {
  make();
  addTo(1);
  call("setAbsoluteToleranceByRun", {1, 0.5});
  call("removeEmptyRun", {1});
  EXPECT_EQ(make(), 1);
  EXPECT_EQ(call("getToleranceByRun", {1}).field("absolute").toDouble(), 0.5);
}

}  // namespace
}  // namespace kvr::test
