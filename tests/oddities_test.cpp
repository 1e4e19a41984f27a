// Behaviour of the store that looks like a slip and is meant: one test each, with what a reader
// would expect and why it is otherwise. Nothing here may be mended.
#include <cmath>

#include "kvrntob/columns/columns.h"
#include "kvrntob/settings/structures.h"
#include "tests/support/replaced_function.h"
#include "tests/support/store_test.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

class Oddity : public StoreTest {
 protected:
  const int32 run = addRun();

  int32 addUnder(int32 parent) { return add(aSignal().inRun(run).under(parent)); }
  int32 addRooted(const char* source, const char* root) {
    return add(aSignal().inRun(run).withSource(source).withRootDataSource(root));
  }
  static bool isStored(int32 id) { return store().instanceID(id) != -1; }
};

// ---- The store and its numbers ----

// A dropped store is not freed: other host objects still hold it.
TEST_F(Oddity, dropped_store_goes_on_working) {
  const int32 id = addTo(run);
  SignalRepository& old = drop();
  EXPECT_EQ(old.copyRecordByID(id).getSignalLabel(), "label");
  EXPECT_EQ(old.runName(run), "run");
}

// The counters belong to the process, so that they restart under a dropped store too.
TEST_F(Oddity, dropped_store_gives_out_ids_that_it_holds_already) {
  const int32 id = add(aSignal().inRun(run).withLabel("older"));
  SignalRepository& old = drop();
  EXPECT_EQ(aSignal().inRun(run).withLabel("newer").addTo(old), id);
  EXPECT_EQ(old.copyRecordByID(id).getSignalLabel(), "newer");
  EXPECT_EQ(old.signalCount(), 1);
  EXPECT_EQ(old.signalCount(run), 2);
}

// The id is taken while the record is made, which comes before the look at the parent.
TEST_F(Oddity, failed_addition_under_an_unknown_parent_uses_up_an_id) {
  const int32 last = addTo(run);
  expectFailure("NON_EXISTENT", "ID", [&] { addUnder(99); });
  EXPECT_EQ(addTo(run), last + 2);
}

// Parent and run are never compared.
TEST_F(Oddity, parent_may_be_in_another_run) {
  const int32 parent = addTo(addRun());
  const int32 child = addUnder(parent);
  EXPECT_EQ(store().childIDs(parent), IDs{child});
}

// ---- Runs ----

// Left unguarded on purpose: a date makes a run where there is none.
TEST_F(Oddity, set_date_created_of_an_unknown_run_makes_one_without_name_and_version) {
  store().setDateCreated(77, 3.0);
  EXPECT_TRUE(store().isValidRunID(77));
  EXPECT_EQ(store().runCount(), 2);
  EXPECT_EQ(store().runName(77), "");
  EXPECT_EQ(store().version(77), "");
  EXPECT_EQ(store().dateCreated(77), 3.0);
}

// Only creation enters the lists.
TEST_F(Oddity, run_made_by_its_date_stands_in_no_list) {
  store().setDateCreated(77, 3.0);
  EXPECT_EQ(store().groupCount(Column::RunName), 1);
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { store().runIDAt(2); });
  EXPECT_EQ(store().runIDsOfInstance(0), IDs());
}

// There is no instance to look up for it.
TEST_F(Oddity, run_made_by_its_date_receives_signals_of_instance_minus_1) {
  store().setDateCreated(77, 3.0);
  EXPECT_EQ(store().instanceID(addTo(77)), -1);
}

// The date is refreshed by making the whole record anew.
TEST_F(Oddity, update_date_created_refreshes_the_version_too) {
  const ReplacedFunction version("version", [] { return aText("newer"); });
  store().updateDateCreated(run);
  EXPECT_EQ(store().version(run), "newer");
}

// ---- Looking up ----

// The list of signals is looked at, not the table of runs.
TEST_F(Oddity, run_that_never_held_a_signal_is_unknown_to_a_look_up_by_index) {
  EXPECT_TRUE(store().isValidRunID(run));
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().copyRecordByRunIndex(run, 1); });
}

// Counting looks the list up by subscript, which makes it.
TEST_F(Oddity, count_of_an_empty_run_changes_how_its_look_up_fails) {
  EXPECT_EQ(store().signalCount(run), 0);
  expectFailure("NON_EXISTENT", "Index", [&] { store().copyRecordByRunIndex(run, 1); });
}

// Asked whether a signal is of a run, the store wants the signal to exist.
TEST_F(Oddity, is_valid_signal_id_of_an_unknown_signal_fails_instead_of_answering) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().isValidSignalID(run, 1); });
}

// Its neighbours fail on an unknown signal.
TEST_F(Oddity, instance_id_of_an_unknown_signal_is_minus_1) {
  EXPECT_EQ(store().instanceID(0), -1);
}

// The guard is inverted: links come from adding alone.
TEST_F(Oddity, set_parent_of_known_signals_changes_nothing) {
  addSignals(run, 2);
  store().setParent(1, 2);
  store().setParent(1, 99);
  store().setParent(99, 2);
  EXPECT_FALSE(store().hasParent(1));
  EXPECT_FALSE(store().hasChildren(2));
}

// ---- Removing ----

// Only a signal at the top looks after its children.
TEST_F(Oddity, remove_signal_in_the_middle_leaves_its_children) {
  const int32 middle = addUnder(addTo(run));
  const int32 leaf = addUnder(middle);
  store().removeSignal(middle);
  EXPECT_TRUE(store().hasParent(leaf));
  EXPECT_EQ(store().parentID(leaf), middle);
}

// Children have a parent, so that their own children stay.
TEST_F(Oddity, remove_signal_at_the_top_leaves_its_grandchildren) {
  const int32 top = addTo(run);
  const int32 middle = addUnder(top);
  const int32 leaf = addUnder(middle);
  store().removeSignal(top);
  EXPECT_FALSE(isStored(middle));
  EXPECT_TRUE(isStored(leaf));
}

// It cannot be taken out of its parent's list; its run still takes it along.
TEST_F(Oddity, remove_signal_whose_parent_is_gone_fails_and_its_run_clears_it) {
  const int32 middle = addUnder(addTo(run));
  const int32 leaf = addUnder(middle);
  store().removeSignal(middle);
  expectFailure("NON_EXISTENT", "ID", [&] { store().removeSignal(leaf); });
  EXPECT_TRUE(isStored(leaf));
  store().removeRun(run);
  EXPECT_FALSE(isStored(leaf));
}

// A run goes without a look at the hierarchy, and leaves stale ids behind.
TEST_F(Oddity, remove_run_leaves_parents_and_children_in_other_runs_alone) {
  const int32 other = addRun();
  const int32 parent = addTo(run);
  const int32 child = add(aSignal().inRun(other).under(parent));
  store().removeRun(run);
  EXPECT_TRUE(store().hasParent(child));
  EXPECT_EQ(store().parentID(child), parent);
}

// The walk over the children ends at the first that is gone, and nothing is put back.
TEST_F(Oddity, remove_signal_with_a_child_gone_in_the_middle_removes_those_before_it) {
  const int32 parent = addTo(run);
  const int32 other = addRun();
  const int32 first = addUnder(parent);
  const int32 gone = add(aSignal().inRun(other).under(parent));
  const int32 last = addUnder(parent);
  store().removeRun(other);
  expectFailure("NON_EXISTENT", "ID", [&] { store().removeSignal(parent); });
  EXPECT_FALSE(isStored(first));
  EXPECT_EQ(store().childIDs(parent), (IDs{gone, last}));
}

// The entry goes by its key, whichever signal it points to, and no older one is put back.
TEST_F(Oddity, remove_signal_erases_its_source_though_another_signal_holds_it) {
  const int32 older = add(aSignal().inRun(run).withSource("s"));
  const int32 newer = add(aSignal().inRun(run).withSource("s"));
  store().removeSignal(older);
  EXPECT_TRUE(isStored(newer));
  expectFailure("NON_EXISTENT", "Signal source", [&] { store().copyRecordBySource("s"); });
}

// Filed under the data source, taken out under the root data source.
TEST_F(Oddity, remove_signal_with_another_root_data_source_leaves_its_id_in_the_column) {
  const int32 id = addRooted("s", "root");
  store().removeSignal(id);
  EXPECT_EQ(store().groupIDAt(1, "s", Column::DataSource), id);
}

// The look for the id under the other key makes a group, and names come from adding alone.
TEST_F(Oddity, remove_signal_leaves_an_empty_group_under_an_unknown_root_data_source) {
  const int32 id = addRooted("s", "root");
  expectFailure("NON_EXISTENT", "group name",
                [&] { store().groupIDCount("root", Column::DataSource); });
  store().removeSignal(id);
  EXPECT_EQ(store().groupIDCount("root", Column::DataSource), 0);
  EXPECT_EQ(store().groupCount(Column::DataSource), 1);
}

// A name is listed when its group is made by an addition; this one was made by a removal.
TEST_F(Oddity, signal_added_to_a_group_that_a_removal_made_is_never_listed_by_name) {
  store().removeSignal(addRooted("s", "root"));
  const int32 id = add(aSignal().inRun(run).withSource("root"));
  EXPECT_EQ(store().groupIDAt(1, "root", Column::DataSource), id);
  EXPECT_EQ(store().groupCount(Column::DataSource), 1);
  EXPECT_EQ(store().groupName(1, Column::DataSource, SortOrder::Ascending), "s");
}

// Names and groups never go.
TEST_F(Oddity, group_outlives_its_last_signal) {
  store().removeSignal(addTo(run));
  EXPECT_EQ(store().groupCount(Column::BlockPath), 1);
  EXPECT_EQ(store().groupIDCount("block", Column::BlockPath), 0);
  EXPECT_EQ(store().blockSourceAt(1), "block");
}

// Settings stand in tables of their own, which no removal touches.
TEST_F(Oddity, settings_of_a_removed_run_can_still_be_read_and_set) {
  addTo(run);
  store().removeRun(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 1);
  EXPECT_EQ(store().toleranceByRun(run).absolute, 0.5);
  EXPECT_EQ(store().syncOptionsByRun(run).SyncMethod, 1);
}

// The end of the list is taken for the run that was not found, and its instance reads as 0.
TEST_F(Oddity, remove_run_that_stands_in_no_list_costs_the_lists_their_last_entries) {
  addRun("of instance 0", 0);
  store().setDateCreated(77, 1.0);
  store().removeRun(77);
  EXPECT_EQ(store().groupCount(Column::RunName), 1);
  EXPECT_EQ(store().runIDsOfInstance(0), IDs());
  EXPECT_EQ(store().runCount(), 2);
}

// The name promises more than the operation holds.
TEST_F(Oddity, remove_empty_run_does_not_look_whether_the_run_is_empty) {
  addTo(run);
  store().removeEmptyRun(run);
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().nextRunID(), run);
}

// The counter falls by 1 whichever run it was; the run that holds the number is overwritten.
TEST_F(Oddity, remove_empty_run_that_is_not_the_newest_brings_a_number_in_use) {
  addRun("second");
  addRun("third", 8);
  store().removeEmptyRun(run);
  EXPECT_EQ(addRun("again", 9), 3);
  EXPECT_EQ(store().runName(3), "again");
  EXPECT_EQ(store().runCount(), 2);
  EXPECT_EQ(store().groupCount(Column::RunName), 3);
  EXPECT_EQ(store().runIDsOfInstance(8), IDs{3});
  EXPECT_EQ(store().runIDsOfInstance(9), IDs{3});
}

// ---- Copying ----

// The instance is a fact of the signal, not of its run.
TEST_F(Oddity, copied_signal_keeps_the_instance_of_the_source) {
  addTo(run);
  const int32 copy = store().copyRun(run, 4);
  EXPECT_EQ(store().copyRecordByRunIndex(copy, 1).getInstanceID(), 1);
  EXPECT_EQ(store().runIDsOfInstance(4), IDs{copy});
}

// A copied signal starts as if it had just been added.
TEST_F(Oddity, copied_run_has_default_settings_though_the_source_had_its_own) {
  const int32 id = addTo(run);
  store().setTolerance(id, toleranceField::absolute, 0.5);
  store().setSyncMethodByRun(run, 2);
  const int32 copy = store().copyRun(run, 4);
  EXPECT_EQ(store().copyRecordByRunIndex(copy, 1).effectiveTolerance(), defaultTolerance);
  EXPECT_EQ(store().syncOptionsByRun(copy), defaultSyncOptions);
}

// ---- Settings ----

// That field is left out of the test for presence, and fails as a number.
TEST_F(Oddity, tolerance_structure_without_time_step_reports_its_number) {
  const OwnedArray structure = toleranceFields().renamed("timeStep", "other").build();
  expectFailure("NOT_NUMERIC", "Time step", [&] { readToleranceStruct(structure.get()); });
}

// Numbers are never compared with each other, nor with zero.
TEST_F(Oddity, tolerance_accepts_what_makes_no_sense) {
  const int32 id = addTo(run);
  store().setTolerance(id, toleranceField::timeStart, 5);
  store().setTolerance(id, toleranceField::timeEnd, -4);
  store().setTolerance(id, toleranceField::absolute, -1);
  EXPECT_EQ(store().tolerance(id).timeEnd, -4);
  EXPECT_EQ(store().tolerance(id).absolute, -1);
}

// There is no failure of its own for a field of the wrong class.
TEST_F(Oddity, sync_structure_with_a_field_of_another_class_reports_a_missing_one) {
  const OwnedArray structure = syncFields().with("UniformTimeInterval", anInt32(1)).build();
  expectFailure("MISSING_FIELD", [&] { readSyncOptionsStruct(structure.get()); });
}

// Both keywords must hold although the custom method is in force, which may be empty.
TEST_F(Oddity, sync_structure_wants_keywords_also_for_a_custom_method) {
  StructBuilder fields = syncFields();
  fields.with("customSyncMethod", aText(""));
  EXPECT_EQ(readSyncOptionsStruct(fields.build().get()).syncType, 1);
  fields.with("SyncMethod", aText("custom"));
  expectFailure("INVALID_SYNC", [&] { readSyncOptionsStruct(fields.build().get()); });
}

// The one reads its structure before it looks the run up, the other after.
TEST_F(Oddity, bad_structure_and_unknown_run_are_reported_in_opposite_orders) {
  const OwnedArray bad = StructBuilder().with("x", aNumber(0)).build();
  expectFailure("NUMBER_OF_FIELDS", "5", [&] { store().setSyncOptionsByRun(9, bad.get()); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().setToleranceByRun(9, bad.get()); });
}

// The table of settings is looked at, and a run is entered there with its first signal.
TEST_F(Oddity, run_without_signals_has_no_settings) {
  EXPECT_TRUE(store().isValidRunID(run));
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().toleranceByRun(run); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().syncOptionsByRun(run); });
}

// A setter turns to the signal's own record as it is; nothing is copied from the run.
TEST_F(Oddity, first_setter_of_a_signal_hides_every_setting_of_its_run) {
  const int32 id = addTo(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().setTolerance(id, toleranceField::relative, 0.25);
  EXPECT_EQ(store().tolerance(id).absolute, 0);
}

// A reset turns the flag and zeroes nothing.
TEST_F(Oddity, setter_after_a_reset_brings_earlier_settings_back) {
  const int32 id = addTo(run);
  store().setTolerance(id, toleranceField::timeStart, 3);
  store().resetTolerance(id);
  store().setTolerance(id, toleranceField::relStep, 4);
  EXPECT_EQ(store().tolerance(id).timeStart, 3);
}

// An inherited setting is looked up in the store of the process, not in the signal's own.
TEST_F(Oddity, signal_of_a_dropped_store_reads_the_new_run_of_its_number) {
  const int32 id = addTo(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  SignalRepository& old = drop();
  expectFailure("NON_EXISTENT", "Run ID", [&] { old.tolerance(id); });
  ASSERT_EQ(addRun("new"), run);
  addTo(run);
  EXPECT_EQ(old.tolerance(id).absolute, 0);
}

// Settings outlive their run, and an entry that is there is not seeded again.
TEST_F(Oddity, run_that_gets_a_number_again_finds_the_old_settings) {
  addTo(run);
  store().setToleranceByRun(run, toleranceField::absolute, 0.5);
  store().removeEmptyRun(run);
  ASSERT_EQ(addRun("again"), run);
  EXPECT_EQ(store().tolerance(addTo(run)).absolute, 0.5);
}

// ---- Display ----

// The bounds are tested with comparisons that are false for NaN.
TEST_F(Oddity, line_color_of_nan_is_accepted) {
  const int32 id = addTo(run);
  store().setLineColor(id, std::nan(""), 0, 0);
  EXPECT_TRUE(std::isnan(store().copyRecordByID(id).getLineColor()[0]));
}

// Styles are texts without a test.
TEST_F(Oddity, line_style_may_be_any_text) {
  const int32 id = addTo(run);
  store().setLineStyle(id, "wavy");
  EXPECT_EQ(store().copyRecordByID(id).getLineDashed(), "wavy");
}

// ---- Columns ----

// One word, a small letter in the one and a capital in the other.
TEST_F(Oddity, unknown_group_is_reported_in_two_spellings) {
  expectFailure("NON_EXISTENT", "group name", [&] { store().groupIDCount("x", Column::Model); });
  expectFailure("NON_EXISTENT", "Group name", [&] { store().groupIDAt(1, "x", Column::Model); });
}

// The column can be listed but has no ids by group; the keyword itself is valid.
TEST_F(Oddity, run_column_is_no_column_for_ids) {
  EXPECT_EQ(store().groupCount(Column::RunName), 1);
  expectFailure("NON_EXISTENT", "Column name",
                [&] { store().groupIDCount("run", Column::RunName); });
}

// Runs are listed in order of creation, whatever is asked for.
TEST_F(Oddity, run_column_takes_no_order) {
  store().setRunName(run, "z");
  addRun("a");
  EXPECT_EQ(store().groupName(1, Column::RunName, SortOrder::Ascending), "z");
  EXPECT_EQ(store().groupName(1, Column::RunName, SortOrder::Descending), "z");
}

// The list itself is sorted, and other readers see it.
TEST_F(Oddity, group_name_sorts_the_list_for_every_later_reader) {
  for (const char* block : {"a", "b"}) add(aSignal().inRun(run).inBlock(block));
  store().groupName(2, Column::BlockPath, SortOrder::Descending);
  EXPECT_EQ(store().blockSourceAt(1), "b");
}

}  // namespace
}  // namespace kvr::test
