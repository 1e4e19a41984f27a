// Which settings are in force: the signal's own or its run's.
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using InheritanceTest = SignalTest;

TEST_F(InheritanceTest, new_signal_has_the_defaults_by_way_of_its_run) {
  EXPECT_TRUE(store().isToleranceInherited(id));
  EXPECT_TRUE(store().isSyncOptionsInherited(id));
  EXPECT_EQ(store().tolerance(id), ToleranceSettings());
  EXPECT_EQ(store().syncOptions(id), SyncOptions());
}

TEST_F(InheritanceTest, run_setter_shows_in_every_signal_that_inherits) {
  const int32 other = addTo(run);
  store().setToleranceByRun(run, toleranceField::relative, 0.25);
  store().setSyncMethodByRun(run, 1);
  for (const int32 signal : {id, other}) {
    EXPECT_EQ(store().tolerance(signal).relative, 0.25);
    EXPECT_EQ(store().syncOptions(signal).SyncMethod, 1);
  }
}

TEST_F(InheritanceTest, run_setter_does_not_show_in_a_signal_of_its_own) {
  store().setTolerance(id, toleranceField::absolute, 0.5);
  store().setToleranceByRun(run, toleranceField::relative, 0.25);
  EXPECT_EQ(store().tolerance(id).relative, 0);
  EXPECT_FALSE(store().isToleranceInherited(id));
}

TEST_F(InheritanceTest, run_setter_leaves_other_runs_alone) {
  const int32 other = addTo(addRun());
  store().setToleranceByRun(run, toleranceField::relative, 0.25);
  EXPECT_EQ(store().tolerance(other), defaultTolerance);
}

TEST_F(InheritanceTest, signal_setter_of_sync_options_copies_nothing_from_the_run) {
  store().setSyncMethodByRun(run, 2);
  store().setUniformTimeIntervalByRun(run, 9);
  store().setInterpMethod(id, 1);
  EXPECT_EQ(store().syncOptions(id).SyncMethod, 0);
  EXPECT_EQ(store().syncOptions(id).UniformTimeInterval, 0.01);
  EXPECT_EQ(store().syncOptions(id).InterpMethod, 1);
}

TEST_F(InheritanceTest, signal_setter_leaves_run_and_other_signals_alone) {
  const int32 other = addTo(run);
  store().setTolerance(id, toleranceField::absolute, 0.5);
  EXPECT_EQ(store().toleranceByRun(run), defaultTolerance);
  EXPECT_TRUE(store().isToleranceInherited(other));
}

TEST_F(InheritanceTest, reset_brings_the_runs_settings_back_and_keeps_the_own_ones) {
  store().setTolerance(id, toleranceField::timeStart, 3);
  store().resetTolerance(id);
  EXPECT_EQ(store().tolerance(id), defaultTolerance);
  store().setTolerance(id, toleranceField::relStep, 4);
  EXPECT_EQ(store().tolerance(id).timeStart, 3);
  EXPECT_EQ(store().tolerance(id).relStep, 4);
}

TEST_F(InheritanceTest, reset_of_sync_options_keeps_the_own_ones) {
  store().setSyncMethod(id, 2);
  store().resetSyncOptions(id);
  EXPECT_EQ(store().syncOptions(id).SyncMethod, 0);
  store().setInterpMethod(id, 1);
  EXPECT_EQ(store().syncOptions(id).SyncMethod, 2);
}

TEST_F(InheritanceTest, reset_of_a_signal_that_inherits_has_no_effect) {
  store().resetTolerance(id);
  store().resetSyncOptions(id);
  EXPECT_TRUE(store().isToleranceInherited(id));
  EXPECT_TRUE(store().isSyncOptionsInherited(id));
}

TEST_F(InheritanceTest, tolerance_and_sync_options_go_their_own_ways) {
  store().setTolerance(id, toleranceField::absolute, 1);
  EXPECT_TRUE(store().isSyncOptionsInherited(id));
  store().setSyncMethod(id, 1);
  store().resetTolerance(id);
  EXPECT_FALSE(store().isSyncOptionsInherited(id));
}

TEST_F(InheritanceTest, snapshot_of_a_signal_reads_the_run_as_it_is_at_the_moment) {
  const Data snapshot = store().copyRecordByID(id);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 1);
  EXPECT_EQ(snapshot.effectiveTolerance().absolute, 0.5);
  EXPECT_EQ(snapshot.effectiveSyncOptions().SyncMethod, 1);
}

TEST_F(InheritanceTest, settings_of_a_run_removed_as_empty_go_to_the_next_run_of_its_number) {
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 2);
  store().removeEmptyRun(run);
  ASSERT_EQ(addRun("again"), run);
  EXPECT_EQ(store().toleranceByRun(run).absolute, 0.5);
  const int32 heir = addTo(run);
  EXPECT_EQ(store().tolerance(heir).absolute, 0.5);
  EXPECT_EQ(store().syncOptions(heir).SyncMethod, 2);
}

// ---- Signals of a dropped store ----

TEST_F(InheritanceTest, signal_of_a_dropped_store_finds_no_settings_in_the_new_one) {
  SignalRepository& old = drop();
  EXPECT_TRUE(old.isToleranceInherited(id));
  expectFailure("NON_EXISTENT", "Run ID", [&] { old.tolerance(id); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { old.syncOptions(id); });
}

TEST_F(InheritanceTest, signal_of_a_dropped_store_with_own_settings_keeps_them) {
  store().setTolerance(id, toleranceField::absolute, 0.5);
  store().setSyncMethod(id, 1);
  SignalRepository& old = drop();
  EXPECT_EQ(old.tolerance(id).absolute, 0.5);
  EXPECT_EQ(old.syncOptions(id).SyncMethod, 1);
}

TEST_F(InheritanceTest, run_of_a_dropped_store_keeps_its_settings_for_its_own_reads) {
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  SignalRepository& old = drop();
  EXPECT_EQ(old.toleranceByRun(run).absolute, 0.5);
}

}  // namespace
}  // namespace kvr::test
