// Adding signals: what is entered where, and what a failed addition leaves behind.
#include "kvrntob/columns/columns.h"
#include "kvrntob/store/data.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

using AddingTest = StoreTest;

TEST_F(AddingTest, add_signal_gives_ids_from_1) {
  const int32 run = addRun();
  EXPECT_EQ(addTo(run), 1);
  EXPECT_EQ(addTo(run), 2);
}

TEST_F(AddingTest, add_signal_stores_the_record_under_its_id) {
  const int32 run = addRun();
  const int32 id = add(aSignal().inRun(run).withLabel("speed"));
  EXPECT_EQ(store().copyRecordByID(id).getSignalLabel(), "speed");
  EXPECT_EQ(store().copyRecordByID(id).getRunID(), run);
}

TEST_F(AddingTest, new_signal_described_by_its_run_alone_has_no_numbers_lists_or_parent) {
  NewSignal signal;
  signal.runID = addRun();
  const Data record = store().copyRecordByID(store().addSignal(std::move(signal)));
  EXPECT_EQ(record.getTimeDim(), 0);
  EXPECT_EQ(record.getPortIndex(), 0);
  EXPECT_TRUE(record.getSampleDims().empty());
  EXPECT_TRUE(record.getChannel().empty());
  EXPECT_FALSE(record.hasParent());
}

TEST_F(AddingTest, new_signal_without_a_run_fails_with_run_id) {
  addRun();
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().addSignal(NewSignal()); });
}

TEST_F(AddingTest, add_signal_enters_the_run_in_order_of_adding) {
  const int32 run = addRun();
  addSignals(run, 3);
  EXPECT_EQ(idsOfRun(run), (IDs{1, 2, 3}));
}

TEST_F(AddingTest, add_signal_enters_one_record_in_all_tables) {
  const int32 run = addRun();
  const int32 id = add(aSignal().inRun(run).withSource("s"));
  EXPECT_EQ(store().recordPointerByID(id), store().recordPointerBySource("s"));
  EXPECT_EQ(store().recordPointerByID(id), store().recordPointerByRunIndex(run, 1));
}

TEST_F(AddingTest, add_signal_enters_the_four_columns) {
  const int32 run = addRun();
  const int32 id =
      add(aSignal().inRun(run).inBlock("b").withSource("s").withLabel("l").inModel("m"));
  EXPECT_EQ(store().groupIDAt(1, "b", Column::BlockPath), id);
  EXPECT_EQ(store().groupIDAt(1, "s", Column::DataSource), id);
  EXPECT_EQ(store().groupIDAt(1, "l", Column::SignalName), id);
  EXPECT_EQ(store().groupIDAt(1, "m", Column::Model), id);
}

TEST_F(AddingTest, add_signal_with_a_known_source_takes_the_search_over) {
  const int32 run = addRun();
  const int32 older = add(aSignal().inRun(run).withSource("s"));
  const int32 newer = add(aSignal().inRun(run).withSource("s"));
  EXPECT_EQ(store().copyRecordBySource("s").getDataID(), newer);
  EXPECT_EQ(store().groupIDAt(1, "s", Column::DataSource), older);
  EXPECT_EQ(store().groupIDAt(2, "s", Column::DataSource), newer);
  EXPECT_EQ(store().groupCount(Column::DataSource), 1);
}

TEST_F(AddingTest, add_signal_with_empty_strings_makes_groups_of_empty_names) {
  const int32 run = addRun();
  const int32 id = add(aSignal().inRun(run).withSource("").withLabel(""));
  EXPECT_EQ(store().groupIDAt(1, "", Column::SignalName), id);
  EXPECT_EQ(store().copyRecordBySource("").getDataID(), id);
}

TEST_F(AddingTest, add_signal_takes_the_instance_of_its_run) {
  EXPECT_EQ(store().instanceID(addTo(addRun("run", 41))), 41);
}

TEST_F(AddingTest, first_signal_of_a_run_gives_it_default_settings) {
  const int32 run = addRun();
  addTo(run);
  EXPECT_EQ(store().toleranceByRun(run), defaultTolerance);
  EXPECT_EQ(store().syncOptionsByRun(run), defaultSyncOptions);
}

TEST_F(AddingTest, later_signals_of_a_run_leave_its_settings_alone) {
  const int32 run = addRun();
  addTo(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 2);
  addTo(run);
  EXPECT_EQ(store().toleranceByRun(run).absolute, 0.5);
  EXPECT_EQ(store().syncOptionsByRun(run).SyncMethod, 2);
}

TEST_F(AddingTest, add_signal_to_an_unknown_run_changes_nothing) {
  const int32 run = addRun();
  const int32 palette = paletteCounter;
  expectFailure("NON_EXISTENT", "Run ID", [&] { addTo(run + 1); });
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().groupCount(Column::BlockPath), 0);
  EXPECT_EQ(paletteCounter, palette);
  EXPECT_EQ(addTo(run), 1);
}

TEST_F(AddingTest, add_signal_with_unknown_run_and_parent_reports_the_run) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { add(aSignal().inRun(9).under(9)); });
}

TEST_F(AddingTest, add_signal_under_a_parent_links_both) {
  const int32 run = addRun();
  const int32 parent = addTo(run);
  const int32 child = add(aSignal().inRun(run).under(parent));
  EXPECT_EQ(store().childIDs(parent), IDs{child});
  EXPECT_EQ(store().parentID(child), parent);
  EXPECT_TRUE(store().hasParent(child));
}

TEST_F(AddingTest, add_signal_under_an_unknown_parent_uses_up_id_and_palette_step) {
  const int32 run = addRun();
  const int32 last = addTo(run);
  const int32 palette = paletteCounter;
  expectFailure("NON_EXISTENT", "ID", [&] { add(aSignal().inRun(run).under(99)); });
  EXPECT_EQ(paletteCounter, palette + 1);
  EXPECT_EQ(addTo(run), last + 2);
}

TEST_F(AddingTest, add_signal_under_an_unknown_parent_enters_no_table) {
  const int32 run = addRun();
  expectFailure("NON_EXISTENT", "ID", [&] { add(aSignal().inRun(run).withSource("s").under(99)); });
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().groupCount(Column::DataSource), 0);
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().toleranceByRun(run); });
}

TEST_F(AddingTest, add_signal_cannot_be_its_own_parent) {
  const int32 run = addRun();
  expectFailure("NON_EXISTENT", "ID", [&] { add(aSignal().inRun(run).under(1)); });
}

TEST_F(AddingTest, add_signal_in_memory_takes_any_host_value) {
  const int32 run = addRun();
  const int32 id = add(aSignal().inRun(run).withValues(kept(aText("no timeseries"))));
  EXPECT_EQ(vrArrayToStdString(store().copyRecordByID(id).getDataValues().get()), "no timeseries");
}

}  // namespace
}  // namespace kvr::test
