// Tolerances of signals and runs, set field by field or whole.
#include <cmath>
#include <limits>

#include "kvrntob/settings/structures.h"
#include "tests/support/store_test.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {
namespace {

// Every number that is set by itself, with the type that setting it selects.
struct FieldRow {
  const char* name;
  ToleranceField field;
  double ToleranceSettings::*member;
  int32 type;
};
const FieldRow kFields[] = {
    {"absolute", toleranceField::absolute, &ToleranceSettings::absolute, 0},
    {"relative", toleranceField::relative, &ToleranceSettings::relative, 0},
    {"timeStart", toleranceField::timeStart, &ToleranceSettings::timeStart, 1},
    {"timeEnd", toleranceField::timeEnd, &ToleranceSettings::timeEnd, 1},
    {"timeStep", toleranceField::timeStep, &ToleranceSettings::timeStep, 1},
    {"initAbsTolVal", toleranceField::initAbsTolVal, &ToleranceSettings::initAbsTolVal, 1},
    {"absStep", toleranceField::absStep, &ToleranceSettings::absStep, 1},
    {"initRelTolVal", toleranceField::initRelTolVal, &ToleranceSettings::initRelTolVal, 1},
    {"relStep", toleranceField::relStep, &ToleranceSettings::relStep, 1},
};

using ToleranceTest = SignalTest;

// ---- Signals ----

TEST_F(ToleranceTest, set_number_writes_the_field_and_selects_its_type) {
  for (const FieldRow& row : kFields) {
    ToleranceSettings expected = store().tolerance(id);
    expected.*row.member = 2.5;
    expected.toleranceType = row.type;
    store().setTolerance(id, row.field, 2.5);
    EXPECT_EQ(store().tolerance(id), expected) << row.name;
  }
}

TEST_F(ToleranceTest, set_number_puts_the_signals_own_record_in_force) {
  for (const FieldRow& row : kFields) {
    store().resetTolerance(id);
    store().setTolerance(id, row.field, 1);
    EXPECT_FALSE(store().isToleranceInherited(id)) << row.name;
  }
}

TEST_F(ToleranceTest, set_absolute_keeps_the_numbers_of_the_other_groups) {
  store().setTolerance(id, toleranceField::timeStart, 3);
  store().setFcnCallTol(id, "f");
  store().setTolerance(id, toleranceField::absolute, 1);
  EXPECT_EQ(store().tolerance(id).toleranceType, 0);
  EXPECT_EQ(store().tolerance(id).timeStart, 3);
  EXPECT_EQ(store().tolerance(id).fcnCall, "f");
}

TEST_F(ToleranceTest, set_number_takes_any_number_unchanged) {
  const double infinity = std::numeric_limits<double>::infinity();
  store().setTolerance(id, toleranceField::timeStart, 5);
  for (const double value : {-1.0, 4.0, infinity, -infinity}) {
    store().setTolerance(id, toleranceField::timeEnd, value);
    EXPECT_EQ(store().tolerance(id).timeEnd, value);
  }
  store().setTolerance(id, toleranceField::timeEnd, std::nan(""));
  EXPECT_TRUE(std::isnan(store().tolerance(id).timeEnd));
}

TEST_F(ToleranceTest, set_function_call_writes_the_text_and_selects_type_2) {
  store().setFcnCallTol(id, "f(x)");
  EXPECT_EQ(store().tolerance(id).fcnCall, "f(x)");
  EXPECT_EQ(store().tolerance(id).toleranceType, 2);
  EXPECT_FALSE(store().isToleranceInherited(id));
}

TEST_F(ToleranceTest, set_tolerance_from_a_structure_replaces_the_whole_record) {
  store().setFcnCallTol(id, "old");
  store().setTolerance(id, toleranceFields().build().get());
  EXPECT_EQ(store().tolerance(id), readToleranceStruct(toleranceFields().build().get()));
  EXPECT_FALSE(store().isToleranceInherited(id));
}

TEST_F(ToleranceTest, set_tolerance_from_a_bad_structure_changes_nothing) {
  const OwnedArray bad = toleranceFields().with("relStep", aText("x")).build();
  expectFailure("NOT_NUMERIC", "Relative step", [&] { store().setTolerance(id, bad.get()); });
  EXPECT_TRUE(store().isToleranceInherited(id));
  EXPECT_EQ(store().tolerance(id), defaultTolerance);
}

TEST_F(ToleranceTest, set_tolerance_of_an_unknown_signal_outranks_a_bad_structure) {
  const OwnedArray bad = toleranceFields().without("relStep").build();
  expectFailure("NON_EXISTENT", "ID", [&] { store().setTolerance(id + 1, bad.get()); });
}

TEST_F(ToleranceTest, setters_of_an_unknown_signal_report_the_id) {
  for (const FieldRow& row : kFields)
    expectFailure("NON_EXISTENT", "ID", [&] { store().setTolerance(id + 1, row.field, 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setFcnCallTol(id + 1, "f"); });
}

TEST_F(ToleranceTest, reads_and_reset_of_an_unknown_signal_report_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().tolerance(id + 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().isToleranceInherited(id + 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().resetTolerance(id + 1); });
}

TEST_F(ToleranceTest, single_field_of_a_signal_follows_the_settings_in_force) {
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  EXPECT_EQ(store().tolerance(id, &ToleranceSettings::absolute), 0.5);
  EXPECT_EQ(store().copyRecordByID(id).tolerance(&ToleranceSettings::absolute), 0.5);
  store().setFcnCallTol(id, "f");
  EXPECT_EQ(store().tolerance(id, &ToleranceSettings::absolute), 0);
  EXPECT_EQ(store().tolerance(id, &ToleranceSettings::fcnCall), "f");
}

// ---- Runs ----

TEST_F(ToleranceTest, set_number_by_run_writes_the_field_and_selects_its_type) {
  for (const FieldRow& row : kFields) {
    ToleranceSettings expected = store().toleranceByRun(run);
    expected.*row.member = 2.5;
    expected.toleranceType = row.type;
    store().setToleranceByRun(run, row.field, 2.5);
    EXPECT_EQ(store().toleranceByRun(run), expected) << row.name;
  }
}

TEST_F(ToleranceTest, set_function_call_by_run_writes_the_text_and_selects_type_2) {
  store().setFcnCallTolByRun(run, "f(x)");
  EXPECT_EQ(store().toleranceByRun(run).fcnCall, "f(x)");
  EXPECT_EQ(store().toleranceByRun(run).toleranceType, 2);
}

TEST_F(ToleranceTest, set_tolerance_by_run_from_a_structure_replaces_the_whole_record) {
  store().setToleranceByRun(run, toleranceFields().build().get());
  EXPECT_EQ(store().toleranceByRun(run), readToleranceStruct(toleranceFields().build().get()));
}

TEST_F(ToleranceTest, set_tolerance_by_run_from_a_bad_structure_changes_nothing) {
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  const ToleranceSettings before = store().toleranceByRun(run);
  const OwnedArray bad = toleranceFields().with("fcnCall", aNumber(1)).build();
  expectFailure("INPUT_MISMATCH", "Character of strings",
                [&] { store().setToleranceByRun(run, bad.get()); });
  EXPECT_EQ(store().toleranceByRun(run), before);
}

TEST_F(ToleranceTest, set_tolerance_by_run_of_an_unknown_run_outranks_a_bad_structure) {
  const OwnedArray bad = toleranceFields().without("relStep").build();
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setToleranceByRun(run + 1, bad.get()); });
}

TEST_F(ToleranceTest, run_methods_on_a_run_without_signals_report_the_run) {
  const int32 empty = addRun();
  EXPECT_TRUE(store().isValidRunID(empty));
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().toleranceByRun(empty); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setFcnCallTolByRun(empty, "f"); });
  for (const FieldRow& row : kFields)
    expectFailure("NON_EXISTENT", "Run ID",
                  [&] { store().setToleranceByRun(empty, row.field, 1); });
}

TEST_F(ToleranceTest, run_methods_on_a_removed_run_work_on) {
  store().removeRun(run);
  store().setToleranceByRun(run, toleranceField::absStep, 4);
  store().setFcnCallTolByRun(run, "g");
  EXPECT_EQ(store().toleranceByRun(run).absStep, 4);
  EXPECT_EQ(store().toleranceByRun(run).fcnCall, "g");
}

TEST_F(ToleranceTest, single_field_of_a_run_without_settings_reports_the_run) {
  expectFailure("NON_EXISTENT", "Run ID",
                [&] { store().toleranceByRun(run + 1, &ToleranceSettings::absolute); });
  EXPECT_EQ(store().toleranceByRun(run, &ToleranceSettings::toleranceType), 0);
}

}  // namespace
}  // namespace kvr::test
