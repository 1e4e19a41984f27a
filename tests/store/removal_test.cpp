// Removing signals and runs: what goes and what stays.
#include <algorithm>

#include "kvrntob/columns/columns.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

class RemovalTest : public StoreTest {
 protected:
  const int32 run = addRun();

  int32 addUnder(int32 parent) { return add(aSignal().inRun(run).under(parent)); }
  static bool isStored(int32 id) { return store().instanceID(id) != -1; }
};

// ---- One signal ----

TEST_F(RemovalTest, remove_signal_takes_it_out_of_every_table) {
  const int32 id = add(aSignal().inRun(run).withSource("s"));
  store().removeSignal(id);
  EXPECT_FALSE(isStored(id));
  EXPECT_EQ(idsOfRun(run), IDs());
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
  for (const Column column :
       {Column::BlockPath, Column::DataSource, Column::SignalName, Column::Model})
    EXPECT_EQ(store().groupCount(column), 1);
}

TEST_F(RemovalTest, remove_signal_takes_the_id_out_of_its_four_groups) {
  store().removeSignal(addTo(run));
  EXPECT_EQ(store().groupIDCount("block", Column::BlockPath), 0);
  EXPECT_EQ(store().groupIDCount("data source", Column::DataSource), 0);
  EXPECT_EQ(store().groupIDCount("label", Column::SignalName), 0);
  EXPECT_EQ(store().groupIDCount("model", Column::Model), 0);
}

TEST_F(RemovalTest, remove_signal_of_an_unknown_id_changes_nothing) {
  addTo(run);
  expectFailure("NON_EXISTENT", "ID", [&] { store().removeSignal(2); });
  EXPECT_EQ(store().signalCount(), 1);
}

TEST_F(RemovalTest, remove_signal_moves_later_indexes_down) {
  addSignals(run, 3);
  store().removeSignal(2);
  EXPECT_EQ(idsOfRun(run), (IDs{1, 3}));
}

TEST_F(RemovalTest, remove_signal_leaves_an_emptied_run_with_its_list) {
  store().removeSignal(addTo(run));
  EXPECT_TRUE(store().isValidRunID(run));
  expectFailure("NON_EXISTENT", "Index", [&] { store().signalIDByRunIndex(run, 1); });
}

TEST_F(RemovalTest, remove_signal_leaves_the_settings_of_the_run) {
  const int32 id = addTo(run);
  store().setToleranceByRun(run, toleranceField::relStep, 0.25);
  store().removeSignal(id);
  EXPECT_EQ(store().toleranceByRun(run).relStep, 0.25);
}

TEST_F(RemovalTest, remove_signal_puts_no_older_signal_back_under_its_source) {
  const int32 older = add(aSignal().inRun(run).withSource("s"));
  store().removeSignal(add(aSignal().inRun(run).withSource("s")));
  EXPECT_TRUE(isStored(older));
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
}

TEST_F(RemovalTest, remove_signal_releases_its_arrays) {
  const std::size_t before = vormel::liveArrayCount();
  store().removeSignal(addTo(run));
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

// ---- Hierarchy ----

TEST_F(RemovalTest, remove_signal_at_the_top_takes_its_children_along) {
  const int32 parent = addTo(run);
  addUnder(parent);
  addUnder(parent);
  store().removeSignal(parent);
  EXPECT_EQ(store().signalCount(), 0);
}

TEST_F(RemovalTest, remove_signal_takes_itself_and_its_children_out_of_the_run) {
  const int32 top = addTo(run);
  for (int i = 0; i < 8; ++i) addUnder(top);
  const int32 kept = addTo(run);
  store().removeSignal(top);
  EXPECT_EQ(idsOfRun(run), IDs{kept});
}

TEST_F(RemovalTest, remove_signal_takes_children_of_other_runs_along) {
  const int32 parent = addTo(run);
  const int32 other = addRun();
  add(aSignal().inRun(other).under(parent));
  store().removeSignal(parent);
  EXPECT_EQ(store().signalCount(other), 0);
}

TEST_F(RemovalTest, remove_signal_that_is_a_child_leaves_the_parent_with_the_other_children) {
  const int32 parent = addTo(run);
  const int32 first = addUnder(parent);
  const int32 second = addUnder(parent);
  const int32 third = addUnder(parent);
  store().removeSignal(second);
  EXPECT_EQ(store().childIDs(parent), (IDs{first, third}));
}

TEST_F(RemovalTest, remove_signal_with_a_child_that_is_gone_stays_with_the_stale_id) {
  const int32 parent = addTo(run);
  const int32 other = addRun();
  const int32 child = add(aSignal().inRun(other).under(parent));
  store().removeRun(other);
  expectFailure("NON_EXISTENT", "ID", [&] { store().removeSignal(parent); });
  EXPECT_EQ(store().childIDs(parent), IDs{child});
}

// ---- Runs ----

TEST_F(RemovalTest, remove_run_takes_its_signals_out_of_every_table) {
  const int32 kept = add(aSignal().inRun(addRun()).withSource("kept"));
  add(aSignal().inRun(run).withSource("gone"));
  addSignals(run, 2);
  store().removeRun(run);
  EXPECT_EQ(store().signalCount(), 1);
  EXPECT_EQ(store().groupIDCount("block", Column::BlockPath), 1);
  EXPECT_EQ(store().groupIDAt(1, "block", Column::BlockPath), kept);
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("gone"); });
}

TEST_F(RemovalTest, remove_run_erases_its_sources_though_signals_of_other_runs_hold_them) {
  add(aSignal().inRun(run).withSource("s"));
  const int32 newer = add(aSignal().inRun(addRun()).withSource("s"));
  store().removeRun(run);
  EXPECT_TRUE(isStored(newer));
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
}

TEST_F(RemovalTest, remove_run_leaves_ids_of_another_root_data_source_in_the_column) {
  const int32 id = add(aSignal().inRun(run).withSource("s").withRootDataSource("root"));
  store().removeRun(run);
  EXPECT_EQ(store().groupIDAt(1, "s", Column::DataSource), id);
  EXPECT_EQ(store().groupIDCount("root", Column::DataSource), 0);
}

TEST_F(RemovalTest, remove_run_of_an_unknown_run_changes_nothing) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().removeRun(run + 1); });
  EXPECT_EQ(store().runCount(), 1);
}

TEST_F(RemovalTest, remove_run_leaves_the_counter) {
  store().removeRun(run);
  EXPECT_EQ(store().nextRunID(), 2);
}

TEST_F(RemovalTest, remove_run_takes_it_out_of_both_lists) {
  const int32 other = addRun();
  store().removeRun(run);
  EXPECT_EQ(store().runIDAt(1), other);
  EXPECT_EQ(store().runIDsOfInstance(1), IDs{other});
  EXPECT_FALSE(store().isValidRunID(run));
}

TEST_F(RemovalTest, remove_run_drops_the_list_of_its_signals) {
  addTo(run);
  store().removeRun(run);
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().signalIDByRunIndex(run, 1); });
}

TEST_F(RemovalTest, remove_run_keeps_its_settings) {
  addTo(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 1);
  store().removeRun(run);
  EXPECT_EQ(store().toleranceByRun(run).absolute, 0.5);
  EXPECT_EQ(store().syncOptionsByRun(run).SyncMethod, 1);
}

TEST_F(RemovalTest, remove_run_that_stands_in_no_list_leaves_empty_lists_alone) {
  store().removeRun(run);
  store().setDateCreated(77, 1.0);
  store().removeRun(77);
  EXPECT_EQ(store().runCount(), 0);
  EXPECT_EQ(store().groupCount(Column::RunName), 0);
  EXPECT_EQ(store().runIDsOfInstance(0), IDs());
}

TEST_F(RemovalTest, remove_run_that_stands_in_no_list_costs_instance_0_its_last_run) {
  const int32 first = addRun("first", 0);
  addRun("second", 0);
  store().setDateCreated(77, 1.0);
  store().removeRun(77);
  EXPECT_EQ(store().runIDsOfInstance(0), IDs{first});
  EXPECT_EQ(store().runIDsOfInstance(1), IDs{run});
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { store().runIDAt(3); });
}

TEST_F(RemovalTest, remove_run_forgets_its_instance) {
  store().removeRun(run);
  store().setDateCreated(run, 1.0);
  EXPECT_EQ(store().instanceID(addTo(run)), -1);
}

// ---- Numbers given out twice: ids restart with a new store, and the old one goes on ----

class RepeatedNumberTest : public RemovalTest {
 protected:
  // The store that was dropped, with signals 1, 2 and again 1 in its run.
  SignalRepository& old = prepare();

  IDs idsOfBlock() const {
    IDs ids;
    for (int32 i = 1; i <= old.groupIDCount("block", Column::BlockPath); ++i)
      ids.push_back(old.groupIDAt(i, "block", Column::BlockPath));
    return ids;
  }

 private:
  SignalRepository& prepare() {
    addSignals(run, 2);
    SignalRepository& dropped = drop();
    aSignal().inRun(run).addTo(dropped);
    return dropped;
  }
};

TEST_F(RepeatedNumberTest, remove_signal_takes_the_first_occurrence_out_of_its_groups) {
  EXPECT_EQ(idsOfBlock(), (IDs{1, 2, 1}));
  old.removeSignal(1);
  EXPECT_EQ(idsOfBlock(), (IDs{2, 1}));
}

TEST_F(RepeatedNumberTest, remove_signal_takes_the_newer_signal_out_of_the_run) {
  old.removeSignal(1);
  EXPECT_EQ(old.signalCount(run), 2);
  EXPECT_EQ(old.signalIDByRunIndex(run, 1), 1);
  EXPECT_EQ(old.signalIDByRunIndex(run, 2), 2);
  expectFailure("NON_EXISTENT", "ID", [&] { old.removeSignal(1); });
}

TEST_F(RepeatedNumberTest, remove_run_takes_each_number_out_of_its_groups_once) {
  old.removeRun(run);
  EXPECT_EQ(idsOfBlock(), IDs{1});
}

TEST_F(RepeatedNumberTest, remove_run_passes_over_a_number_that_is_gone) {
  old.removeSignal(1);
  old.removeRun(run);
  EXPECT_EQ(idsOfBlock(), IDs{1});
  EXPECT_EQ(old.signalCount(), 0);
}

TEST_F(RemovalTest, remove_signal_looks_at_the_children_that_a_child_has_left_by_then) {
  const int32 top = addTo(run);
  for (int i = 0; i < 2; ++i) addUnder(top);  // 2 and 3
  SignalRepository& old = drop();
  addSignals(addRun(), 2);          // 1 and 2, elsewhere
  aSignal().inRun(run).addTo(old);  // 3, under none
  drop();
  addTo(addRun());                           // 1, elsewhere
  aSignal().inRun(run).under(3).addTo(old);  // 2, under 3
  old.removeSignal(top);
  EXPECT_EQ(old.signalCount(), 0);
}

// Run 2, of instance 1, overwritten by another one of instance 7: its number stands twice in the
// list of runs and once in either instance's.
class RepeatedRunTest : public RemovalTest {
 protected:
  RepeatedRunTest() {
    addRun();
    store().removeEmptyRun(run);
    EXPECT_EQ(addRun("again", 7), 2);
  }
};

TEST_F(RepeatedRunTest, remove_run_takes_its_number_out_of_the_lists_once) {
  store().removeRun(2);
  EXPECT_EQ(store().groupCount(Column::RunName), 1);
  EXPECT_EQ(store().runIDAt(1), 2);
  EXPECT_EQ(store().runIDsOfInstance(7), IDs());
  EXPECT_EQ(store().runIDsOfInstance(1), IDs{2});
}

TEST_F(RepeatedRunTest, number_that_is_left_behind_names_no_run) {
  store().removeRun(2);
  expectFailure("NON_EXISTENT", "Run ID",
                [&] { store().groupName(1, Column::RunName, SortOrder::Ascending); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().deleteInstanceID(1); });
  EXPECT_EQ(store().runIDsOfInstance(1), IDs{2});
}

TEST_F(RepeatedRunTest, delete_instance_that_lists_a_number_twice_fails_behind_the_first) {
  addRun("third", 7);
  store().removeEmptyRun(2);
  ASSERT_EQ(addRun("again", 7), 3);
  ASSERT_EQ(store().runIDsOfInstance(7), (IDs{3, 3}));
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().deleteInstanceID(7); });
  EXPECT_EQ(store().runIDsOfInstance(7), IDs{3});
  EXPECT_EQ(store().runCount(), 0);
}

// ---- Empty runs and instances ----

TEST_F(RemovalTest, remove_empty_run_gives_its_number_out_again) {
  store().removeEmptyRun(run);
  EXPECT_EQ(addRun(), run);
}

TEST_F(RemovalTest, remove_empty_run_of_an_unknown_run_leaves_the_counter) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().removeEmptyRun(run + 1); });
  EXPECT_EQ(store().nextRunID(), run + 1);
}

TEST_F(RemovalTest, delete_instance_removes_its_runs_alone) {
  const int32 second = addRun("second", 2);
  const int32 third = addRun("third", 1);
  addTo(third);
  store().deleteInstanceID(1);
  EXPECT_EQ(store().runIDAt(1), second);
  EXPECT_EQ(store().runCount(), 1);
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().runIDsOfInstance(1), IDs());
}

TEST_F(RemovalTest, delete_instance_leaves_the_counter) {
  store().deleteInstanceID(1);
  EXPECT_EQ(store().nextRunID(), run + 1);
}

TEST_F(RemovalTest, delete_instance_that_is_unknown_does_nothing) {
  store().deleteInstanceID(5);
  EXPECT_EQ(store().runCount(), 1);
}

// ---- Numbers given out twice, which a store that outlives clean does ----

TEST_F(RemovalTest, remove_signal_of_a_number_given_out_twice_takes_one_entry_out_of_each_group) {
  addTo(run);
  lastSignalID = 0;
  ASSERT_EQ(addTo(run), 1);
  store().removeSignal(1);
  for (const auto& [group, column] :
       {std::pair("block", Column::BlockPath), std::pair("data source", Column::DataSource),
        std::pair("label", Column::SignalName), std::pair("model", Column::Model)})
    EXPECT_EQ(store().groupIDCount(group, column), 1) << group;
  EXPECT_EQ(store().signalCount(run), 1) << "the older record stays in the run";
}

TEST_F(RemovalTest, remove_signal_takes_a_child_that_is_another_by_now_from_its_new_parent) {
  const int32 parent = addTo(run);
  const int32 child = addUnder(parent);
  const int32 again = addUnder(parent);
  const int32 stranger = addTo(run);
  lastSignalID = again - 1;
  ASSERT_EQ(addUnder(stranger), again);
  store().removeSignal(parent);
  for (const int32 id : {parent, child, again}) EXPECT_FALSE(isStored(id)) << id;
  EXPECT_TRUE(isStored(stranger));
  EXPECT_FALSE(store().hasChildren(stranger));
}

}  // namespace
}  // namespace kvr::test
