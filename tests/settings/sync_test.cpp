// Synchronisation options of signals and runs.
#include "kvrntob/settings/structures.h"
#include "tests/support/store_test.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {
namespace {

using SyncTest = SignalTest;

// ---- Signals ----

TEST_F(SyncTest, set_sync_method_puts_it_in_force_and_keeps_the_custom_one) {
  store().setCustomSyncMethod(id, "custom");
  store().setSyncMethod(id, 2);
  EXPECT_EQ(store().syncOptions(id).SyncMethod, 2);
  EXPECT_EQ(store().syncOptions(id).syncType, 0);
  EXPECT_EQ(store().syncOptions(id).customSyncMethod, "custom");
}

TEST_F(SyncTest, set_custom_sync_method_puts_it_in_force_and_keeps_the_built_in_one) {
  store().setSyncMethod(id, 1);
  store().setCustomSyncMethod(id, "custom");
  EXPECT_EQ(store().syncOptions(id).customSyncMethod, "custom");
  EXPECT_EQ(store().syncOptions(id).syncType, 1);
  EXPECT_EQ(store().syncOptions(id).SyncMethod, 1);
}

TEST_F(SyncTest, set_interpolation_method_keeps_the_type) {
  store().setCustomSyncMethod(id, "custom");
  store().setInterpMethod(id, 1);
  EXPECT_EQ(store().syncOptions(id).InterpMethod, 1);
  EXPECT_EQ(store().syncOptions(id).syncType, 1);
}

TEST_F(SyncTest, set_interval_keeps_the_type) {
  store().setCustomSyncMethod(id, "custom");
  store().setUniformTimeInterval(id, 0.5);
  EXPECT_EQ(store().syncOptions(id).UniformTimeInterval, 0.5);
  EXPECT_EQ(store().syncOptions(id).syncType, 1);
}

TEST_F(SyncTest, set_interval_accepts_zero_and_below) {
  for (const double interval : {0.0, -1.0}) {
    store().setUniformTimeInterval(id, interval);
    EXPECT_EQ(store().syncOptions(id).UniformTimeInterval, interval);
  }
}

TEST_F(SyncTest, set_sync_options_replaces_the_whole_record) {
  store().setSyncOptions(id, syncFields().build().get());
  EXPECT_EQ(store().syncOptions(id), readSyncOptionsStruct(syncFields().build().get()));
  EXPECT_FALSE(store().isSyncOptionsInherited(id));
}

TEST_F(SyncTest, set_sync_options_from_a_bad_structure_changes_nothing) {
  const OwnedArray bad = syncFields().with("SyncMethod", aText("x")).build();
  expectFailure("INVALID_SYNC", [&] { store().setSyncOptions(id, bad.get()); });
  EXPECT_TRUE(store().isSyncOptionsInherited(id));
  EXPECT_EQ(store().copyRecordByID(id).effectiveSyncOptions(), defaultSyncOptions);
}

TEST_F(SyncTest, set_sync_options_of_an_unknown_signal_outranks_a_bad_structure) {
  const OwnedArray bad = syncFields().without("syncType").build();
  expectFailure("NON_EXISTENT", "ID", [&] { store().setSyncOptions(id + 1, bad.get()); });
}

TEST_F(SyncTest, each_setter_puts_the_signals_own_record_in_force) {
  const auto expectOwn = [&](auto set) {
    store().resetSyncOptions(id);
    set();
    EXPECT_FALSE(store().isSyncOptionsInherited(id));
    EXPECT_TRUE(store().isToleranceInherited(id));
  };
  expectOwn([&] { store().setSyncMethod(id, 1); });
  expectOwn([&] { store().setInterpMethod(id, 1); });
  expectOwn([&] { store().setUniformTimeInterval(id, 1); });
  expectOwn([&] { store().setCustomSyncMethod(id, "x"); });
}

TEST_F(SyncTest, operations_on_an_unknown_signal_report_the_id) {
  const int32 none = id + 1;
  expectFailure("NON_EXISTENT", "ID", [&] { store().setSyncMethod(none, 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setInterpMethod(none, 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setUniformTimeInterval(none, 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setCustomSyncMethod(none, "x"); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().syncOptions(none); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().isSyncOptionsInherited(none); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().resetSyncOptions(none); });
}

TEST_F(SyncTest, single_field_of_a_signal_follows_the_options_in_force) {
  store().setSyncMethodByRun(run, 1);
  EXPECT_EQ(store().syncOption(id, &SyncOptions::SyncMethod), 1);
  EXPECT_EQ(store().copyRecordByID(id).syncOption(&SyncOptions::SyncMethod), 1);
  store().setSyncMethod(id, 2);
  EXPECT_EQ(store().syncOption(id, &SyncOptions::SyncMethod), 2);
}

// ---- Runs ----

TEST_F(SyncTest, set_sync_method_by_run_puts_it_in_force) {
  store().setCustomSyncMethodByRun(run, "custom");
  store().setSyncMethodByRun(run, 2);
  EXPECT_EQ(store().syncOptionsByRun(run).SyncMethod, 2);
  EXPECT_EQ(store().syncOptionsByRun(run).syncType, 0);
  EXPECT_EQ(store().syncOptionsByRun(run).customSyncMethod, "custom");
}

TEST_F(SyncTest, set_custom_sync_method_by_run_puts_it_in_force) {
  store().setCustomSyncMethodByRun(run, "custom");
  EXPECT_EQ(store().syncOptionsByRun(run).customSyncMethod, "custom");
  EXPECT_EQ(store().syncOptionsByRun(run).syncType, 1);
}

TEST_F(SyncTest, set_interpolation_and_interval_by_run_keep_the_type) {
  store().setCustomSyncMethodByRun(run, "custom");
  store().setInterpMethodByRun(run, 1);
  store().setUniformTimeIntervalByRun(run, 0.5);
  EXPECT_EQ(store().syncOptionsByRun(run).InterpMethod, 1);
  EXPECT_EQ(store().syncOptionsByRun(run).UniformTimeInterval, 0.5);
  EXPECT_EQ(store().syncOptionsByRun(run).syncType, 1);
}

TEST_F(SyncTest, set_sync_options_by_run_replaces_the_whole_record) {
  store().setSyncOptionsByRun(run, syncFields().build().get());
  EXPECT_EQ(store().syncOptionsByRun(run), readSyncOptionsStruct(syncFields().build().get()));
}

TEST_F(SyncTest, set_sync_options_by_run_from_a_bad_structure_changes_nothing) {
  const OwnedArray bad = syncFields().with("syncType", aNumber(2)).build();
  expectFailure("SYNC_TYPE", [&] { store().setSyncOptionsByRun(run, bad.get()); });
  EXPECT_EQ(store().syncOptionsByRun(run), defaultSyncOptions);
}

TEST_F(SyncTest, bad_structure_outranks_an_unknown_run) {
  const OwnedArray bad = syncFields().without("syncType").build();
  expectFailure("NUMBER_OF_FIELDS", "5", [&] { store().setSyncOptionsByRun(run + 1, bad.get()); });
}

TEST_F(SyncTest, set_sync_options_by_run_of_an_unknown_run_reports_the_run) {
  const OwnedArray good = syncFields().build();
  expectFailure("NON_EXISTENT", "Run ID",
                [&] { store().setSyncOptionsByRun(run + 1, good.get()); });
}

TEST_F(SyncTest, run_methods_on_a_run_without_signals_report_the_run) {
  const int32 empty = addRun();
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().syncOptionsByRun(empty); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setSyncMethodByRun(empty, 1); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setInterpMethodByRun(empty, 1); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setUniformTimeIntervalByRun(empty, 1); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setCustomSyncMethodByRun(empty, "x"); });
}

TEST_F(SyncTest, run_methods_on_a_removed_run_work_on) {
  store().removeRun(run);
  store().setInterpMethodByRun(run, 1);
  EXPECT_EQ(store().syncOptionByRun(run, &SyncOptions::InterpMethod), 1);
}

}  // namespace
}  // namespace kvr::test
