// Finding signals by id, by data source, by run and index.
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using LookupTest = StoreTest;

TEST_F(LookupTest, copy_record_by_unknown_id_reports_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().copyRecordByID(1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().recordPointerByID(0); });
}

TEST_F(LookupTest, copy_record_by_unknown_source_reports_the_source) {
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
}

TEST_F(LookupTest, copy_record_by_source_compares_exactly) {
  add(aSignal().inRun(addRun()).withSource("Speed"));
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("speed"); });
}

TEST_F(LookupTest, copy_record_is_a_snapshot) {
  const int32 id = addTo(addRun());
  const Data snapshot = store().copyRecordByID(id);
  store().setVisible(id, true);
  EXPECT_FALSE(snapshot.isVisible());
}

TEST_F(LookupTest, record_pointer_reaches_the_record_itself) {
  const int32 id = addTo(addRun());
  store().recordPointerByID(id)->setVisible(true);
  EXPECT_TRUE(store().isVisible(id));
}

TEST_F(LookupTest, copy_record_by_run_index_counts_from_1) {
  const int32 run = addRun();
  addSignals(run, 2);
  EXPECT_EQ(store().copyRecordByRunIndex(run, 1).getDataID(), 1);
  EXPECT_EQ(store().signalIDByRunIndex(run, 2), 2);
}

TEST_F(LookupTest, copy_record_by_run_index_outside_the_list_reports_the_index) {
  const int32 run = addRun();
  addTo(run);
  for (const int32 index : {-1, 0, 2}) {
    expectFailure("NON_EXISTENT", "Index", [&] { store().copyRecordByRunIndex(run, index); });
    expectFailure("NON_EXISTENT", "Index", [&] { store().signalIDByRunIndex(run, index); });
  }
}

TEST_F(LookupTest, copy_record_by_index_in_an_unknown_run_reports_the_run) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().copyRecordByRunIndex(9, 0); });
}

TEST_F(LookupTest, signal_count_runs_over_all_runs) {
  addTo(addRun());
  addTo(addRun());
  EXPECT_EQ(store().signalCount(), 2);
}

TEST_F(LookupTest, signal_count_of_a_run_counts_its_own) {
  const int32 run = addRun();
  addTo(run);
  addTo(addRun());
  EXPECT_EQ(store().signalCount(run), 1);
}

TEST_F(LookupTest, signal_count_of_an_unknown_run_is_0_and_leaves_no_list) {
  EXPECT_EQ(store().signalCount(9), 0);
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().signalIDByRunIndex(9, 1); });
}

TEST_F(LookupTest, is_valid_signal_id_tells_whether_the_signal_is_of_the_run) {
  const int32 run = addRun();
  const int32 id = addTo(run);
  EXPECT_TRUE(store().isValidSignalID(run, id));
  EXPECT_FALSE(store().isValidSignalID(run + 1, id));
}

TEST_F(LookupTest, block_source_at_lists_block_paths_in_order_of_appearance) {
  const int32 run = addRun();
  for (const char* block : {"z", "a", "z"}) add(aSignal().inRun(run).inBlock(block));
  EXPECT_EQ(store().blockSourceAt(1), "z");
  EXPECT_EQ(store().blockSourceAt(2), "a");
}

TEST_F(LookupTest, block_source_at_an_index_outside_the_list_reports_the_index) {
  addTo(addRun());
  for (const int32 index : {-1, 0, 2})
    expectFailure("NON_EXISTENT", "Index", [&] { store().blockSourceAt(index); });
}

}  // namespace
}  // namespace kvr::test
