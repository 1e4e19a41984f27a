// The record of a signal, apart from any table.
#include "kvrntob/store/data.h"

#include <bit>
#include <cstdint>

#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using DataTest = StoreTest;

TEST_F(DataTest, new_record_takes_the_next_id) {
  const Data first = aSignal().makeRecord();
  const Data second = aSignal().makeRecord();
  EXPECT_EQ(first.getDataID(), 1);
  EXPECT_EQ(second.getDataID(), 2);
}

TEST_F(DataTest, new_record_keeps_its_strings) {
  const Data record = aSignal().makeRecord();
  EXPECT_EQ(record.getRootSource(), "root source");
  EXPECT_EQ(record.getTimeSource(), "time source");
  EXPECT_EQ(record.getDataSource(), "data source");
  EXPECT_EQ(record.getBlockSource(), "block");
  EXPECT_EQ(record.getModelSource(), "model");
  EXPECT_EQ(record.getSignalLabel(), "label");
  EXPECT_EQ(record.getSID(), "sid");
}

TEST_F(DataTest, new_record_keeps_a_root_data_source_of_its_own) {
  EXPECT_EQ(aSignal().withRootDataSource("root").makeRecord().getRootDataSrc(), "root");
}

TEST_F(DataTest, new_record_keeps_its_numbers_and_lists) {
  const Data record = aSignal().inRun(9).makeRecord(/*storedInFile=*/false, /*instance=*/5);
  EXPECT_EQ(record.getTimeDim(), 1);
  EXPECT_EQ(record.getSampleDims(), (std::vector<int32>{1, 3}));
  EXPECT_EQ(record.getPortIndex(), 2);
  EXPECT_EQ(record.getChannel(), std::vector<int32>{4});
  EXPECT_EQ(record.getRunID(), 9);
  EXPECT_EQ(record.getInstanceID(), 5);
}

TEST_F(DataTest, new_record_in_memory_holds_the_arrays_it_was_given) {
  const SharedArray values = kept(aNumber(1));
  const SharedArray metaData = kept(aNumber(2));
  const Data record = aSignal().withValues(values).withMetaData(metaData).makeRecord();
  EXPECT_FALSE(record.isStoredInFile());
  EXPECT_EQ(record.getDataValues(), values);
  EXPECT_EQ(record.getMetaData(), metaData);
}

TEST_F(DataTest, new_record_is_hidden) { EXPECT_FALSE(aSignal().makeRecord().isVisible()); }

TEST_F(DataTest, new_record_inherits_both_kinds_of_settings) {
  const Data record = aSignal().makeRecord();
  EXPECT_TRUE(record.isToleranceInherited());
  EXPECT_TRUE(record.isSyncOptionsInherited());
}

TEST_F(DataTest, new_record_has_no_parent) {
  const Data record = aSignal().makeRecord();
  EXPECT_FALSE(record.hasParent());
  EXPECT_EQ(record.getParentID(), 0);
}

TEST_F(DataTest, new_record_has_settings_of_its_own_made_by_default) {
  Data record = aSignal().makeRecord();
  EXPECT_EQ(record.ownTolerance(), ToleranceSettings());
  EXPECT_EQ(record.ownSyncOptions(), SyncOptions());
}

TEST_F(DataTest, new_record_takes_one_palette_step) {
  const int32 before = paletteCounter;
  const Data record = aSignal().makeRecord();
  EXPECT_EQ(paletteCounter, before + 1);
  EXPECT_EQ(record.getLineColor().size(), 3U);
}

TEST_F(DataTest, copied_record_is_equal_member_by_member) {
  Data record = aSignal().inRun(3).makeRecord();
  record.linkToParent(8);
  record.setVisible(true);
  const Data copy = record;
  EXPECT_EQ(copy.getDataID(), record.getDataID());
  EXPECT_EQ(copy.getRunID(), 3);
  EXPECT_EQ(copy.getParentID(), 8);
  EXPECT_TRUE(copy.isVisible());
  EXPECT_EQ(copy.getLineColor(), record.getLineColor());
}

TEST_F(DataTest, copied_record_takes_no_id_and_no_palette_step) {
  const Data record = aSignal().makeRecord();
  const int32 palette = paletteCounter;
  const Data copy = record;  // NOLINT(performance-unnecessary-copy-initialization): is the test
  EXPECT_EQ(copy.getDataID(), lastSignalID);
  EXPECT_EQ(paletteCounter, palette);
}

TEST_F(DataTest, copied_record_shares_both_arrays) {
  const Data record = aSignal().makeRecord();
  const std::size_t before = vormel::liveArrayCount();
  const Data copy = record;  // NOLINT(performance-unnecessary-copy-initialization): is the test
  EXPECT_EQ(vormel::liveArrayCount(), before);
  EXPECT_EQ(copy.getDataValues(), record.getDataValues());
  EXPECT_EQ(copy.getMetaData(), record.getMetaData());
}

TEST_F(DataTest, arrays_of_a_record_live_until_the_last_copy_goes) {
  auto record = std::make_unique<Data>(aSignal().withValues(kept(aNumber(7))).makeRecord());
  const auto copy = std::make_unique<Data>(*record);
  record.reset();
  EXPECT_EQ(vrGetScalar(copy->getDataValues().get()), 7);
}

TEST_F(DataTest, set_run_id_replaces_the_run) {
  Data record = aSignal().inRun(1).makeRecord();
  record.setRunID(6);
  EXPECT_EQ(record.getRunID(), 6);
}

TEST_F(DataTest, link_to_parent_sets_flag_and_id) {
  Data record = aSignal().makeRecord();
  record.linkToParent(12);
  EXPECT_TRUE(record.hasParent());
  EXPECT_EQ(record.getParentID(), 12);
}

TEST_F(DataTest, own_settings_and_use_of_the_runs_turn_each_flag_alone) {
  Data record = aSignal().makeRecord();
  record.ownTolerance();
  EXPECT_FALSE(record.isToleranceInherited());
  EXPECT_TRUE(record.isSyncOptionsInherited());
  record.ownSyncOptions();
  record.useRunTolerance();
  EXPECT_TRUE(record.isToleranceInherited());
  EXPECT_FALSE(record.isSyncOptionsInherited());
  record.useRunSyncOptions();
  EXPECT_TRUE(record.isSyncOptionsInherited());
}

TEST(SettingsRecords, tolerance_settings_made_by_default_are_of_type_0_and_zero) {
  const ToleranceSettings settings;
  EXPECT_EQ(settings.toleranceType, 0);
  for (const double ToleranceSettings::*member :
       {&ToleranceSettings::absolute, &ToleranceSettings::relative, &ToleranceSettings::timeStart,
        &ToleranceSettings::timeEnd, &ToleranceSettings::timeStep,
        &ToleranceSettings::initAbsTolVal, &ToleranceSettings::absStep,
        &ToleranceSettings::initRelTolVal, &ToleranceSettings::relStep})
    EXPECT_EQ(settings.*member, 0.0);
  EXPECT_EQ(settings.fcnCall, "");
  EXPECT_EQ(defaultTolerance, settings);
}

TEST(SettingsRecords, sync_options_made_by_default_are_union_by_zero_order_hold) {
  const SyncOptions options;
  EXPECT_EQ(options.SyncMethod, 0);
  EXPECT_EQ(options.InterpMethod, 0);
  EXPECT_EQ(options.customSyncMethod, "");
  EXPECT_EQ(options.syncType, 0);
  EXPECT_EQ(defaultSyncOptions, options);
}

TEST(SettingsRecords, tolerances_that_differ_in_any_one_field_are_not_equal) {
  const auto expectUnequal = [](const auto& change) {
    ToleranceSettings changed;
    change(changed);
    EXPECT_NE(changed, ToleranceSettings());
  };
  expectUnequal([](ToleranceSettings& settings) { settings.toleranceType = 1; });
  for (const auto number :
       {&ToleranceSettings::absolute, &ToleranceSettings::relative, &ToleranceSettings::timeStart,
        &ToleranceSettings::timeEnd, &ToleranceSettings::timeStep,
        &ToleranceSettings::initAbsTolVal, &ToleranceSettings::absStep,
        &ToleranceSettings::initRelTolVal, &ToleranceSettings::relStep})
    expectUnequal([number](ToleranceSettings& settings) { settings.*number = 1; });
  expectUnequal([](ToleranceSettings& settings) { settings.fcnCall = "f"; });
}

TEST(SettingsRecords, sync_options_that_differ_in_any_one_field_are_not_equal) {
  const SyncOptions byDefault;
  for (const auto number :
       {&SyncOptions::SyncMethod, &SyncOptions::InterpMethod, &SyncOptions::syncType}) {
    SyncOptions changed;
    changed.*number = 1;
    EXPECT_NE(changed, byDefault);
  }
  EXPECT_NE((SyncOptions{.UniformTimeInterval = 1, .customSyncMethod = {}}), byDefault);
  EXPECT_NE((SyncOptions{.customSyncMethod = "c"}), byDefault);
}

TEST(ArrayOwners, holder_of_no_array_ends_none) {
  const LiveArraysGuard live;
  const SharedArray none(static_cast<vrArray*>(nullptr), ArrayDeleter());
  EXPECT_EQ(none.use_count(), 1);
}

TEST(SettingsRecords, default_interval_is_the_double_nearest_to_a_hundredth) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(SyncOptions().UniformTimeInterval), 0x3F847AE147AE147BU);
}

}  // namespace
}  // namespace kvr::test
