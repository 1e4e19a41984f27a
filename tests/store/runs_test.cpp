// Runs: their records, the list of all runs and the lists of instances.
#include <stdexcept>

#include "kvrntob/columns/columns.h"
#include "tests/support/replaced_function.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

class RunsTest : public StoreTest {
 protected:
  static vormel::OwnedArray fails() { throw std::runtime_error("host function"); }
};

TEST_F(RunsTest, create_empty_run_counts_ids_from_1) {
  EXPECT_EQ(addRun(), 1);
  EXPECT_EQ(addRun(), 2);
}

TEST_F(RunsTest, next_run_id_on_an_empty_store_is_1_and_not_used_up) {
  EXPECT_EQ(store().nextRunID(), 1);
  EXPECT_EQ(store().nextRunID(), 1);
  EXPECT_EQ(addRun(), 1);
}

TEST_F(RunsTest, create_empty_run_keeps_the_name) {
  EXPECT_EQ(store().runName(addRun("Monday")), "Monday");
}

TEST_F(RunsTest, create_empty_run_accepts_an_empty_name_and_any_instance) {
  const int32 run = addRun("", -7);
  EXPECT_EQ(store().runName(run), "");
  EXPECT_EQ(store().runIDsOfInstance(-7), IDs{run});
}

TEST_F(RunsTest, create_empty_run_twice_under_one_name_makes_two_runs) {
  addRun("same");
  addRun("same");
  EXPECT_EQ(store().runCount(), 2);
}

TEST_F(RunsTest, create_empty_run_takes_version_and_date_from_the_host) {
  const ReplacedFunction version("version", [] { return aText("11.2 (test)"); });
  const ReplacedFunction now("now", [] { return aNumber(738000.25); });
  const int32 run = addRun();
  EXPECT_EQ(store().version(run), "11.2 (test)");
  EXPECT_EQ(store().dateCreated(run), 738000.25);
}

TEST_F(RunsTest, create_empty_run_asks_for_the_version_before_the_date) {
  std::string asked;
  const ReplacedFunction version("version", [&] {
    asked += "version ";
    return aText("");
  });
  const ReplacedFunction now("now", [&] {
    asked += "now";
    return aNumber(1);
  });
  addRun();
  EXPECT_EQ(asked, "version now");
}

TEST_F(RunsTest, create_empty_run_with_a_failing_version_loses_the_number_alone) {
  {
    const ReplacedFunction version("version", fails);
    EXPECT_THROW(addRun(), std::runtime_error);
  }
  EXPECT_EQ(store().runCount(), 0);
  EXPECT_EQ(store().groupCount(Column::RunName), 0);
  EXPECT_EQ(store().runIDsOfInstance(1), IDs());
  EXPECT_EQ(addRun(), 2);
}

TEST_F(RunsTest, create_empty_run_with_a_failing_now_loses_the_number_alone) {
  {
    const ReplacedFunction now("now", fails);
    EXPECT_THROW(addRun(), std::runtime_error);
  }
  EXPECT_EQ(store().runCount(), 0);
  EXPECT_EQ(addRun(), 2);
}

// A number in use is given out when the counter fell below it.
TEST_F(RunsTest, create_empty_run_under_a_number_in_use_leaves_the_signals_there) {
  addRun("first", 3);
  const int32 used = addRun("second", 3);
  const int32 older = addTo(used);
  store().removeEmptyRun(1);
  ASSERT_EQ(addRun("again", 4), used);
  const int32 newer = addTo(used);
  EXPECT_EQ(idsOfRun(used), (IDs{older, newer}));
  EXPECT_EQ(store().instanceID(older), 3) << "a signal's own, never updated";
  EXPECT_EQ(store().instanceID(newer), 4);
}

TEST_F(RunsTest, run_id_at_counts_positions_from_the_oldest_run) {
  addRun();
  addRun();
  EXPECT_EQ(store().runIDAt(1), 1);
  EXPECT_EQ(store().runIDAt(2), 2);
}

TEST_F(RunsTest, run_id_at_closes_up_after_a_removal) {
  addRun();
  addRun();
  store().removeRun(1);
  EXPECT_EQ(store().runIDAt(1), 2);
}

TEST_F(RunsTest, run_id_at_a_position_outside_the_list_is_out_of_bounds) {
  addRun();
  for (const int32 position : {-1, 0, 2})
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { store().runIDAt(position); });
}

TEST_F(RunsTest, set_run_name_replaces_the_name_alone) {
  const int32 run = addRun("old");
  const double date = store().dateCreated(run);
  const std::string version = store().version(run);
  store().setRunName(run, "new");
  EXPECT_EQ(store().runName(run), "new");
  EXPECT_EQ(store().dateCreated(run), date);
  EXPECT_EQ(store().version(run), version);
}

TEST_F(RunsTest, operations_on_an_unknown_run_report_the_run_id) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().runName(5); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setRunName(5, "x"); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().version(5); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().dateCreated(5); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().updateDateCreated(5); });
  EXPECT_EQ(store().runCount(), 0);
}

TEST_F(RunsTest, update_date_created_refreshes_the_version_too) {
  const int32 run = addRun("kept");
  const ReplacedFunction version("version", [] { return aText("newer"); });
  const ReplacedFunction now("now", [] { return aNumber(9.5); });
  store().updateDateCreated(run);
  EXPECT_EQ(store().runName(run), "kept");
  EXPECT_EQ(store().version(run), "newer");
  EXPECT_EQ(store().dateCreated(run), 9.5);
}

TEST_F(RunsTest, update_date_created_with_a_failing_host_function_changes_nothing) {
  const int32 run = addRun();
  const double date = store().dateCreated(run);
  const std::string version = store().version(run);
  const ReplacedFunction newer("version", [] { return aText("newer"); });
  const ReplacedFunction now("now", fails);
  EXPECT_THROW(store().updateDateCreated(run), std::runtime_error);
  EXPECT_EQ(store().version(run), version);
  EXPECT_EQ(store().dateCreated(run), date);
}

TEST_F(RunsTest, set_date_created_replaces_the_date_alone) {
  const int32 run = addRun("kept");
  store().setDateCreated(run, -1.5);
  EXPECT_EQ(store().dateCreated(run), -1.5);
  EXPECT_EQ(store().runName(run), "kept");
}

TEST_F(RunsTest, run_ids_of_an_instance_come_in_order_of_creation) {
  addRun("a", 4);
  addRun("b", 5);
  addRun("c", 4);
  EXPECT_EQ(store().runIDsOfInstance(4), (IDs{1, 3}));
}

TEST_F(RunsTest, run_ids_of_an_unknown_instance_are_none) {
  EXPECT_EQ(store().runIDsOfInstance(4), IDs());
}

TEST_F(RunsTest, run_ids_of_an_instance_whose_runs_are_gone_are_none) {
  store().removeRun(addRun("a", 4));
  EXPECT_EQ(store().runIDsOfInstance(4), IDs());
}

TEST_F(RunsTest, is_valid_run_id_tells_whether_the_run_exists) {
  const int32 run = addRun();
  EXPECT_TRUE(store().isValidRunID(run));
  EXPECT_FALSE(store().isValidRunID(run + 1));
  EXPECT_FALSE(store().isValidRunID(0));
}

}  // namespace
}  // namespace kvr::test
