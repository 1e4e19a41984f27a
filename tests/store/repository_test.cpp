// The one store of the process, and its counters.
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using RepositoryTest = StoreTest;

TEST_F(RepositoryTest, get_instance_twice_gives_one_store) {
  EXPECT_EQ(SignalRepository::getInstance(), SignalRepository::getInstance());
}

TEST_F(RepositoryTest, new_store_is_empty) {
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().runCount(), 0);
}

TEST_F(RepositoryTest, signals_after_a_removal_leave_a_gap_in_the_ids) {
  const int32 run = addRun();
  addSignals(run, 2);
  store().removeSignal(2);
  EXPECT_EQ(addTo(run), 3);
}

TEST_F(RepositoryTest, drop_restarts_both_counters) {
  addTo(addRun());
  drop();
  EXPECT_EQ(addRun(), 1);
  EXPECT_EQ(addTo(1), 1);
}

TEST_F(RepositoryTest, drop_leaves_a_new_store_without_signals) {
  addTo(addRun());
  drop();
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().runCount(), 0);
}

TEST_F(RepositoryTest, drop_ends_file_mode) {
  store().writeToFile();
  drop();
  const int32 id = addTo(addRun());
  EXPECT_FALSE(store().copyRecordByID(id).isStoredInFile());
}

}  // namespace
}  // namespace kvr::test
