// Methods that set and read tolerances and synchronisation options, of a signal and of a run.
#include <cmath>
#include <limits>

#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

// A run of two signals, and one without settings.
class SettingsMethods : public RepositoryTest {
 protected:
  SettingsMethods() { addSignals(run, 2); }

  const int32 run = addRun();
  const int32 emptyRun = addRun();
};

// ---- Structures as they come out ----

struct FieldForm {
  const char* name;
  int classID;
  std::vector<std::size_t> shape;
};

void expectForm(const Value& structure, const std::vector<FieldForm>& fields) {
  expectArray(structure, vrSTRUCT_CLASS, {1, 1});
  std::vector<std::string> names;
  for (const FieldForm& field : fields) {
    names.emplace_back(field.name);
    expectArray(structure.field(field.name), field.classID, field.shape);
  }
  EXPECT_EQ(structure.fieldNames(), names);
}

TEST_F(SettingsMethods, tolerance_comes_as_a_structure_of_eleven_fields) {
  const std::vector<FieldForm> fields{
      {"toleranceType", vrINT32_CLASS, {1, 1}},  {"absolute", vrDOUBLE_CLASS, {1, 1}},
      {"relative", vrDOUBLE_CLASS, {1, 1}},      {"timeStart", vrDOUBLE_CLASS, {1, 1}},
      {"timeEnd", vrDOUBLE_CLASS, {1, 1}},       {"timeStep", vrDOUBLE_CLASS, {1, 1}},
      {"initAbsTolVal", vrDOUBLE_CLASS, {1, 1}}, {"absStep", vrDOUBLE_CLASS, {1, 1}},
      {"initRelTolVal", vrDOUBLE_CLASS, {1, 1}}, {"relStep", vrDOUBLE_CLASS, {1, 1}},
      {"fcnCall", vrCHAR_CLASS, {0, 0}}};
  expectForm(call("getTolerance", {1}), fields);
  expectForm(call("getToleranceByRun", {run}), fields);
}

TEST_F(SettingsMethods, sync_options_come_as_a_structure_of_five_fields) {
  const std::vector<FieldForm> fields{{"SyncMethod", vrCHAR_CLASS, {1, 5}},
                                      {"InterpMethod", vrCHAR_CLASS, {1, 3}},
                                      {"UniformTimeInterval", vrDOUBLE_CLASS, {1, 1}},
                                      {"customSyncMethod", vrCHAR_CLASS, {0, 0}},
                                      {"syncType", vrINT32_CLASS, {1, 1}}};
  expectForm(call("getSyncOptions", {1}), fields);
  expectForm(call("getSyncOptionsByRun", {run}), fields);
}

TEST_F(SettingsMethods, new_signal_inherits_the_defaults) {
  EXPECT_TRUE(call("isToleranceInherited", {1}).toBool());
  EXPECT_TRUE(call("isSyncOptionsInherited", {1}).toBool());
  const Value sync = call("getSyncOptions", {1});
  EXPECT_EQ(sync.field("SyncMethod").toString(), "union");
  EXPECT_EQ(sync.field("InterpMethod").toString(), "zoh");
  EXPECT_EQ(sync.field("UniformTimeInterval").toDouble(), 0.01);
  EXPECT_EQ(sync.field("syncType").toInt32(), 0);
}

// ---- Setters of one number ----

struct NumberSetter {
  const char* method;
  const char* field;
  int32 type;
};

const NumberSetter kNumberSetters[] = {{"setAbsoluteTolerance", "absolute", 0},
                                       {"setRelativeTolerance", "relative", 0},
                                       {"setTimeStart", "timeStart", 1},
                                       {"setTimeEnd", "timeEnd", 1},
                                       {"setTimeStep", "timeStep", 1},
                                       {"setInitAbsTolVal", "initAbsTolVal", 1},
                                       {"setAbsStep", "absStep", 1},
                                       {"setInitRelTolVal", "initRelTolVal", 1},
                                       {"setRelStep", "relStep", 1}};

class NumberSetters : public SettingsMethods {
 protected:
  // Expects what `before` has, but for the field that was set and the type.
  static void expectSet(const Value& tolerance, const Value& before, const NumberSetter& setter,
                        double value) {
    SCOPED_TRACE(setter.method);
    EXPECT_EQ(tolerance.field(setter.field).toDouble(), value);
    EXPECT_EQ(tolerance.field("toleranceType").toInt32(), setter.type);
    for (const std::string& name : before.fieldNames()) {
      if (name == setter.field || name == "toleranceType") continue;
      EXPECT_TRUE(
          vormel::equal(tolerance.field(name.c_str()).array(), before.field(name.c_str()).array()))
          << name;
    }
  }
};

TEST_F(NumberSetters, by_id_set_one_field_select_its_group_and_keep_the_others) {
  call("setTolerance", {1, toleranceFields().with("toleranceType", anInt32(2)).build()});
  double value = 100;
  for (const NumberSetter& setter : kNumberSetters) {
    const Value before = call("getTolerance", {1});
    call(setter.method, {1, ++value});
    expectSet(call("getTolerance", {1}), before, setter, value);
  }
}

TEST_F(NumberSetters, by_run_and_index_do_the_same) {
  call("setTolerance", {2, toleranceFields().with("toleranceType", anInt32(2)).build()});
  double value = 100;
  for (const NumberSetter& setter : kNumberSetters) {
    const Value before = call("getTolerance", {2});
    call(setter.method, {run, 2, ++value});
    expectSet(call("getTolerance", {2}), before, setter, value);
  }
}

TEST_F(NumberSetters, of_a_run_do_the_same_there_and_touch_no_signal) {
  call("setToleranceByRun", {run, toleranceFields().with("toleranceType", anInt32(2)).build()});
  call("setRelativeTolerance", {2, 0.5});
  const SignalState untouched = stateOf(store(), 2);
  double value = 100;
  for (const NumberSetter& setter : kNumberSetters) {
    const Value before = call("getToleranceByRun", {run});
    call(setter.method + std::string("ByRun"), {run, ++value});
    expectSet(call("getToleranceByRun", {run}), before, setter, value);
    EXPECT_TRUE(
        vormel::equal(call("getTolerance", {1}).array(), call("getToleranceByRun", {run}).array()));
  }
  EXPECT_EQ(stateOf(store(), 2), untouched);
}

TEST_F(NumberSetters, clear_the_inheritance_of_tolerances_alone) {
  for (const NumberSetter& setter : kNumberSetters) {
    call("resetTolerance", {1});
    call(setter.method, {1, 0.5});
    EXPECT_FALSE(call("isToleranceInherited", {1}).toBool()) << setter.method;
    EXPECT_TRUE(call("isSyncOptionsInherited", {1}).toBool()) << setter.method;
  }
}

TEST_F(NumberSetters, any_number_is_accepted) {
  for (const NumberSetter& setter : kNumberSetters)
    for (const double value : {-1.0, kInfinity, -kInfinity, 1e300}) {
      call(setter.method, {1, value});
      EXPECT_EQ(call("getTolerance", {1}).field(setter.field).toDouble(), value);
      call(setter.method + std::string("ByRun"), {run, value});
      EXPECT_EQ(call("getToleranceByRun", {run}).field(setter.field).toDouble(), value);
    }
  call("setTimeEnd", {1, kNaN});
  const Value end = call("getTolerance", {1}).field("timeEnd");
  EXPECT_TRUE(std::isnan(numbersOf(end.array()).front()));
}

TEST_F(NumberSetters, complex_number_gives_its_real_part) {
  OwnedArray number = aComplex(vrDOUBLE_CLASS, {1, 1});
  *static_cast<double*>(vrGetData(number.get())) = 3;
  *static_cast<double*>(vrGetImagData(number.get())) = 4;
  for (const NumberSetter& setter : kNumberSetters) {
    call(setter.method, {1, number});
    EXPECT_EQ(call("getTolerance", {1}).field(setter.field).toDouble(), 3) << setter.method;
  }
}

TEST_F(NumberSetters, integer_is_stored_as_a_double_but_not_by_the_two_that_want_doubles) {
  for (const NumberSetter& setter : kNumberSetters) {
    if (setter.type == 0) {
      expectFailure("NOT_NUMERIC_SCALAR", "Absolute tolerance", [&] {
        call(setter.method, {1, 7});
      });
    } else {
      call(setter.method, {1, 7});
      expectArray(call("getTolerance", {1}).field(setter.field), vrDOUBLE_CLASS, {1, 1});
      EXPECT_EQ(call("getTolerance", {1}).field(setter.field).toDouble(), 7);
    }
  }
}

TEST_F(NumberSetters, of_a_run_without_settings_report_run_id) {
  const UnchangedStore unchanged;
  for (const NumberSetter& setter : kNumberSetters)
    for (const int32 unknown : {emptyRun, 0, -1, 99})
      expectFailure("NON_EXISTENT", "Run ID", [&] {
        call(setter.method + std::string("ByRun"), {unknown, 0.5});
      });
}

TEST_F(NumberSetters, of_a_run_leave_the_output_count_and_do_not_look_at_surplus_inputs) {
  for (const NumberSetter& setter : kNumberSetters)
    for (const int count : {0, 1, 2}) {
      const std::string method = setter.method + std::string("ByRun");
      EXPECT_EQ(invoke(method, count, {run, 0.5, 9.0, 9.0}).count, count) << method;
    }
  EXPECT_EQ(call("getToleranceByRun", {run}).field("relStep").toDouble(), 0.5);
}

// ---- Function calls and whole tolerances ----

TEST_F(SettingsMethods, fcn_call_tol_sets_the_text_and_selects_it) {
  call("setFcnCallTol", {1, "f(x)"});
  EXPECT_EQ(call("getTolerance", {1}).field("fcnCall").toString(), "f(x)");
  EXPECT_EQ(call("getTolerance", {1}).field("toleranceType").toInt32(), 2);
  call("setFcnCallTol", {run, 1, ""});
  EXPECT_EQ(call("getTolerance", {1}).field("fcnCall").toString(), "");
}

TEST_F(SettingsMethods, fcn_call_tol_by_run_sets_the_text_of_the_run) {
  call("setFcnCallTolByRun", {run, "g"});
  EXPECT_EQ(call("getToleranceByRun", {run}).field("fcnCall").toString(), "g");
  EXPECT_EQ(call("getToleranceByRun", {run}).field("toleranceType").toInt32(), 2);
  EXPECT_EQ(call("getTolerance", {1}).field("fcnCall").toString(), "g");
}

TEST_F(SettingsMethods, fcn_call_tol_by_run_tests_the_text_before_the_run) {
  const UnchangedStore unchanged;
  for (const auto& bad : kNoCharacters)
    expectFailure("INPUT_MISMATCH", "string of characters", [&] {
      call("setFcnCallTolByRun", {99, bad()});
    });
  for (const int32 unknown : {emptyRun, 99})
    expectFailure("NON_EXISTENT", "Run ID", [&] { call("setFcnCallTolByRun", {unknown, "g"}); });
}

TEST_F(SettingsMethods, tolerance_is_replaced_whole_by_structure_or_object) {
  const OwnedArray structure = toleranceFields().build();
  call("setTolerance", {1, structure});
  EXPECT_TRUE(vormel::equal(call("getTolerance", {1}).array(), structure.get()));
  call("setTolerance", {run, 2, toleranceFields().buildObject()});
  EXPECT_TRUE(vormel::equal(call("getTolerance", {2}).array(), structure.get()));
  EXPECT_FALSE(call("isToleranceInherited", {2}).toBool());
}

TEST_F(SettingsMethods, tolerance_of_a_run_is_replaced_whole_by_structure_or_object) {
  const OwnedArray structure = toleranceFields().build();
  call("setToleranceByRun", {run, structure});
  EXPECT_TRUE(vormel::equal(call("getToleranceByRun", {run}).array(), structure.get()));
  call("setToleranceByRun", {run, toleranceFields().with("relStep", aNumber(50)).buildObject()});
  EXPECT_EQ(call("getToleranceByRun", {run}).field("relStep").toDouble(), 50);
  EXPECT_TRUE(call("isToleranceInherited", {1}).toBool());
}

TEST_F(SettingsMethods, unknown_signal_outranks_what_is_wrong_inside_a_structure) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "ID", [&] { call("setTolerance", {99, fieldlessStruct()}); });
  expectFailure("NON_EXISTENT", "ID", [&] { call("setSyncOptions", {99, fieldlessStruct()}); });
  expectFailure("NUMBER_OF_FIELDS", "11", [&] { call("setTolerance", {1, fieldlessStruct()}); });
  expectFailure("NUMBER_OF_FIELDS", "5", [&] { call("setSyncOptions", {1, fieldlessStruct()}); });
}

TEST_F(SettingsMethods, bad_structure_by_run_and_index_changes_nothing) {
  const UnchangedStore unchanged;
  expectFailure("TOL_TYPE", [&] {
    call("setTolerance", {run, 1, toleranceFields().with("toleranceType", aNumber(3)).build()});
  });
  expectFailure("SYNC_TYPE", [&] {
    call("setSyncOptions", {run, 1, syncFields().with("syncType", aNumber(2)).build()});
  });
}

// The run comes first here ...
TEST_F(SettingsMethods, tolerance_by_run_tests_class_then_run_then_the_structure) {
  const UnchangedStore unchanged;
  for (const auto& bad : {half, someText, emptyCell, anEmpty})
    expectFailure("INPUT_MISMATCH", "struct", [&] { call("setToleranceByRun", {99, bad()}); });
  for (const int32 unknown : {emptyRun, 99})
    expectFailure("NON_EXISTENT", "Run ID", [&] {
      call("setToleranceByRun", {unknown, fieldlessStruct()});
    });
  expectFailure("NUMBER_OF_FIELDS", "11", [&] {
    call("setToleranceByRun", {run, fieldlessStruct()});
  });
}

// ... and last here.
TEST_F(SettingsMethods, sync_options_by_run_read_the_structure_before_the_run) {
  const UnchangedStore unchanged;
  for (const int32 any : {run, emptyRun, 99}) {
    expectFailure("INPUT_MISMATCH", "struct", [&] { call("setSyncOptionsByRun", {any, half()}); });
    expectFailure("NUMBER_OF_FIELDS", "5", [&] {
      call("setSyncOptionsByRun", {any, fieldlessStruct()});
    });
  }
  for (const int32 unknown : {emptyRun, 99})
    expectFailure("NON_EXISTENT", "Run ID", [&] {
      call("setSyncOptionsByRun", {unknown, syncFields().build()});
    });
}

TEST_F(SettingsMethods, structures_without_elements_report_struct) {
  const UnchangedStore unchanged;
  const OwnedArray none = toleranceFields().build({1, 0});
  for (const char* method : {"setTolerance", "setSyncOptions"})
    expectFailure("INPUT_MISMATCH", "struct", [&] { call(method, {1, none}); });
  for (const char* method : {"setToleranceByRun", "setSyncOptionsByRun"})
    expectFailure("INPUT_MISMATCH", "struct", [&] { call(method, {run, none}); });
}

// ---- Synchronisation options ----

TEST_F(SettingsMethods, sync_options_are_replaced_whole_by_a_structure) {
  const OwnedArray structure = syncFields().build();
  call("setSyncOptions", {1, structure});
  call("setSyncOptions", {run, 2, structure});
  for (const int32 signal : {1, 2}) {
    EXPECT_TRUE(vormel::equal(call("getSyncOptions", {signal}).array(), structure.get()));
    EXPECT_FALSE(call("isSyncOptionsInherited", {signal}).toBool());
    EXPECT_TRUE(call("isToleranceInherited", {signal}).toBool());
  }
}

TEST_F(SettingsMethods, sync_options_of_a_run_take_a_structure_or_an_object) {
  const OwnedArray structure = syncFields().build();
  call("setSyncOptionsByRun", {run, structure});
  EXPECT_TRUE(vormel::equal(call("getSyncOptionsByRun", {run}).array(), structure.get()));
  call("setSyncOptionsByRun", {run, syncFields().with("SyncMethod", aText("union")).buildObject()});
  EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("SyncMethod").toString(), "union");
  EXPECT_EQ(call("getSyncOptions", {1}).field("SyncMethod").toString(), "union");
}

struct Keyword {
  const char* given;
  const char* stored;
};

const Keyword kSyncKeywords[] = {{"union", "union"},
                                 {"UNION", "union"},
                                 {"uNiOn", "union"},
                                 {"intersection", "intersection"},
                                 {"INTERSECTION", "intersection"},
                                 {"Uniform", "uniform"}};
const Keyword kInterpKeywords[] = {{"zoh", "zoh"}, {"ZOH", "zoh"}, {"Linear", "linear"}};
constexpr const char* kNoSyncWords[] = {"", " union", "union ", "unions", "uni", "zoh", "linear"};
constexpr const char* kNoInterpWords[] = {"", " zoh", "zoh ", "zohs", "lin", "union", "uniform"};

TEST_F(SettingsMethods, keywords_in_any_case_are_kept_in_lower_case) {
  for (const Keyword& word : kSyncKeywords) {
    call("setSyncMethod", {1, word.given});
    call("setSyncMethod", {run, 2, word.given});
    call("setSyncMethodByRun", {run, word.given});
    for (const int32 signal : {1, 2})
      EXPECT_EQ(call("getSyncOptions", {signal}).field("SyncMethod").toString(), word.stored);
    EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("SyncMethod").toString(), word.stored);
  }
  for (const Keyword& word : kInterpKeywords) {
    call("setInterpMethod", {1, word.given});
    call("setInterpMethod", {run, 2, word.given});
    call("setInterpMethodByRun", {run, word.given});
    for (const int32 signal : {1, 2})
      EXPECT_EQ(call("getSyncOptions", {signal}).field("InterpMethod").toString(), word.stored);
    EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("InterpMethod").toString(), word.stored);
  }
}

TEST_F(SettingsMethods, keywords_that_are_none_are_reported_ahead_of_all_but_the_class) {
  const UnchangedStore unchanged;
  for (const char* word : kNoSyncWords) {
    expectFailure("INVALID_SYNC", [&] { call("setSyncMethod", {99, word}); });
    expectFailure("INVALID_SYNC", [&] { call("setSyncMethod", {99, 0.5, word}); });
    expectFailure("INVALID_SYNC", [&] { call("setSyncMethodByRun", {99, word}); });
  }
  for (const char* word : kNoInterpWords) {
    expectFailure("INVALID_INTERP", [&] { call("setInterpMethod", {99, word}); });
    expectFailure("INVALID_INTERP", [&] { call("setInterpMethod", {99, 0.5, word}); });
    expectFailure("INVALID_INTERP", [&] { call("setInterpMethodByRun", {99, word}); });
  }
}

TEST_F(SettingsMethods, sync_setters_of_a_run_without_settings_report_run_id) {
  const UnchangedStore unchanged;
  for (const int32 unknown : {emptyRun, 0, 99}) {
    for (const auto& [method, word] : {std::pair("setSyncMethodByRun", "union"),
                                       {"setInterpMethodByRun", "zoh"},
                                       {"setCustomSyncMethodByRun", "own"}})
      expectFailure("NON_EXISTENT", "Run ID", [&, method = method, word = word] {
        call(method, {unknown, word});
      });
    expectFailure("NON_EXISTENT", "Run ID", [&] {
      call("setUniformTimeIntervalByRun", {unknown, 0.5});
    });
  }
}

TEST_F(SettingsMethods, custom_and_built_in_methods_switch_the_type_and_keep_each_other) {
  call("setSyncMethod", {1, "uniform"});
  call("setCustomSyncMethod", {1, "own"});
  EXPECT_EQ(call("getSyncOptions", {1}).field("syncType").toInt32(), 1);
  EXPECT_EQ(call("getSyncOptions", {1}).field("SyncMethod").toString(), "uniform");
  call("setSyncMethod", {run, 1, "intersection"});
  EXPECT_EQ(call("getSyncOptions", {1}).field("syncType").toInt32(), 0);
  EXPECT_EQ(call("getSyncOptions", {1}).field("customSyncMethod").toString(), "own");
}

TEST_F(SettingsMethods, custom_and_built_in_methods_of_a_run_do_the_same) {
  call("setCustomSyncMethodByRun", {run, "own"});
  EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("syncType").toInt32(), 1);
  call("setInterpMethodByRun", {run, "linear"});
  call("setUniformTimeIntervalByRun", {run, -0.5});
  EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("syncType").toInt32(), 1);
  call("setSyncMethodByRun", {run, "uniform"});
  const Value sync = call("getSyncOptionsByRun", {run});
  EXPECT_EQ(sync.field("syncType").toInt32(), 0);
  EXPECT_EQ(sync.field("customSyncMethod").toString(), "own");
  EXPECT_EQ(sync.field("UniformTimeInterval").toDouble(), -0.5);
  EXPECT_EQ(sync.field("InterpMethod").toString(), "linear");
}

TEST_F(SettingsMethods, uniform_time_interval_by_id_sets_the_interval_alone) {
  call("setCustomSyncMethod", {1, "own"});
  call("setUniformTimeInterval", {1, 0.125});
  const Value sync = call("getSyncOptions", {1});
  EXPECT_EQ(sync.field("UniformTimeInterval").toDouble(), 0.125);
  EXPECT_EQ(sync.field("syncType").toInt32(), 1);
  EXPECT_TRUE(call("isToleranceInherited", {1}).toBool());
}

// Required: the form sets another field.
TEST_F(SettingsMethods,
       uniform_time_interval_by_run_and_index_sets_the_initial_absolute_tolerance) {
  call("setUniformTimeInterval", {run, 2, 0.125});
  const Value tolerance = call("getTolerance", {2});
  EXPECT_EQ(tolerance.field("initAbsTolVal").toDouble(), 0.125);
  EXPECT_EQ(tolerance.field("toleranceType").toInt32(), 1);
  EXPECT_FALSE(call("isToleranceInherited", {2}).toBool());
  EXPECT_TRUE(call("isSyncOptionsInherited", {2}).toBool());
  EXPECT_EQ(call("getSyncOptions", {2}).field("UniformTimeInterval").toDouble(), 0.01);
}

// ---- Inheritance ----

TEST_F(SettingsMethods, signal_with_own_settings_does_not_follow_its_run) {
  call("setAbsoluteTolerance", {1, 0.5});
  call("setRelativeToleranceByRun", {run, 0.25});
  EXPECT_EQ(call("getTolerance", {1}).field("relative").toDouble(), 0);
  EXPECT_EQ(call("getTolerance", {2}).field("relative").toDouble(), 0.25);
}

TEST_F(SettingsMethods, own_settings_are_not_a_copy_of_the_runs) {
  call("setAbsoluteToleranceByRun", {run, 0.5});
  call("setRelativeTolerance", {1, 0.25});
  EXPECT_EQ(call("getTolerance", {1}).field("absolute").toDouble(), 0);
}

TEST_F(SettingsMethods, reset_keeps_the_own_settings_for_later) {
  call("setTimeStart", {1, 3.0});
  call("resetTolerance", {1});
  EXPECT_EQ(call("getTolerance", {1}).field("timeStart").toDouble(), 0);
  call("setRelStep", {1, 4.0});
  EXPECT_EQ(call("getTolerance", {1}).field("timeStart").toDouble(), 3);
  EXPECT_EQ(call("getTolerance", {1}).field("relStep").toDouble(), 4);
}

TEST_F(SettingsMethods, reset_of_a_signal_that_inherits_does_nothing) {
  const UnchangedStore unchanged;
  EXPECT_EQ(invoke("resetTolerance", 0, {1}).count, 0);
  EXPECT_EQ(invoke("resetSyncOptions", 0, {1}).count, 0);
}

TEST_F(SettingsMethods, run_without_settings_reports_run_id_although_it_is_valid) {
  const UnchangedStore unchanged;
  EXPECT_TRUE(call("isValidRunID", {emptyRun}).toBool());
  for (const char* method : {"getToleranceByRun", "getSyncOptionsByRun"})
    for (const int32 unknown : {emptyRun, 0, -1, 99})
      expectFailure("NON_EXISTENT", "Run ID", [&] { call(method, {unknown}); });
}

TEST_F(SettingsMethods, removed_run_keeps_its_settings) {
  call("removeRun", {run});
  call("setAbsoluteToleranceByRun", {run, 0.5});
  call("setSyncMethodByRun", {run, "uniform"});
  EXPECT_EQ(call("getToleranceByRun", {run}).field("absolute").toDouble(), 0.5);
  EXPECT_EQ(call("getSyncOptionsByRun", {run}).field("SyncMethod").toString(), "uniform");
}

TEST_F(SettingsMethods, reads_and_setters_of_a_run_leave_the_output_count_alone) {
  for (const int count : {0, 1, 2}) {
    EXPECT_EQ(invoke("getToleranceByRun", count, {run}).count, count);
    EXPECT_EQ(invoke("getSyncOptionsByRun", count, {run}).count, count);
    EXPECT_EQ(invoke("setSyncMethodByRun", count, {run, "union"}).count, count);
    EXPECT_EQ(invoke("setInterpMethodByRun", count, {run, "zoh"}).count, count);
    EXPECT_EQ(invoke("setCustomSyncMethodByRun", count, {run, "own"}).count, count);
    EXPECT_EQ(invoke("setUniformTimeIntervalByRun", count, {run, 1.0}).count, count);
    EXPECT_EQ(invoke("setFcnCallTolByRun", count, {run, "f"}).count, count);
    EXPECT_EQ(invoke("setToleranceByRun", count, {run, toleranceStructure()}).count, count);
    EXPECT_EQ(invoke("setSyncOptionsByRun", count, {run, syncStructure()}).count, count);
  }
}

}  // namespace
}  // namespace kvr::test
