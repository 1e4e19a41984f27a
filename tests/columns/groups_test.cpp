// The groups of a column and the ids in them.
#include "kvrntob/columns/columns.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

constexpr Column kIndexedColumns[] = {Column::BlockPath, Column::DataSource, Column::SignalName,
                                      Column::Model};

class GroupsTest : public StoreTest {
 protected:
  const int32 run = addRun();

  int32 addLabelled(const char* label) { return add(aSignal().inRun(run).withLabel(label)); }
  static int32 idCount(const char* group) {
    return store().groupIDCount(group, Column::SignalName);
  }
  static int32 idAt(int32 index, const char* group) {
    return store().groupIDAt(index, group, Column::SignalName);
  }
};

TEST_F(GroupsTest, group_count_on_an_empty_store_is_0_for_every_column) {
  drop();
  for (const Column column : kIndexedColumns) EXPECT_EQ(store().groupCount(column), 0);
  EXPECT_EQ(store().groupCount(Column::RunName), 0);
}

TEST_F(GroupsTest, group_count_of_the_run_column_counts_runs_empty_ones_included) {
  addRun();
  EXPECT_EQ(store().groupCount(Column::RunName), 2);
}

TEST_F(GroupsTest, group_count_counts_each_name_once) {
  for (const char* label : {"a", "b", "a"}) addLabelled(label);
  EXPECT_EQ(store().groupCount(Column::SignalName), 2);
}

TEST_F(GroupsTest, group_count_counts_emptied_groups) {
  store().removeSignal(addLabelled("a"));
  EXPECT_EQ(store().groupCount(Column::SignalName), 1);
}

TEST_F(GroupsTest, columns_group_by_their_own_strings) {
  add(aSignal().inRun(run).inBlock("b").withSource("s").withLabel("l").inModel("m"));
  EXPECT_EQ(store().groupIDCount("b", Column::BlockPath), 1);
  EXPECT_EQ(store().groupIDCount("s", Column::DataSource), 1);
  EXPECT_EQ(store().groupIDCount("l", Column::SignalName), 1);
  EXPECT_EQ(store().groupIDCount("m", Column::Model), 1);
}

TEST_F(GroupsTest, id_count_of_an_unknown_group_reports_it_with_a_small_letter) {
  addTo(run);
  for (const Column column : kIndexedColumns)
    expectFailure("NON_EXISTENT", "group name", [&] { store().groupIDCount("none", column); });
}

TEST_F(GroupsTest, id_of_an_unknown_group_reports_it_with_a_capital_letter) {
  addTo(run);
  for (const Column column : kIndexedColumns)
    expectFailure("NON_EXISTENT", "Group name", [&] { store().groupIDAt(1, "none", column); });
}

TEST_F(GroupsTest, run_column_has_no_ids_by_group) {
  expectFailure("NON_EXISTENT", "Column name",
                [&] { store().groupIDCount("run", Column::RunName); });
  expectFailure("NON_EXISTENT", "Column name",
                [&] { store().groupIDAt(0, "none", Column::RunName); });
}

TEST_F(GroupsTest, codes_beyond_the_columns_are_refused) {
  for (const int code : {-1, 5}) {
    const auto column = static_cast<Column>(code);
    expectFailure("NON_EXISTENT", "Column name", [&] { store().groupCount(column); });
    expectFailure("NON_EXISTENT", "Column name", [&] { store().groupIDCount("x", column); });
    expectFailure("NON_EXISTENT", "Column name", [&] { store().groupIDAt(1, "x", column); });
    expectFailure("NON_EXISTENT", "Column name",
                  [&] { store().groupName(1, column, SortOrder::Ascending); });
  }
}

TEST_F(GroupsTest, id_at_counts_from_the_oldest) {
  const int32 older = addLabelled("a");
  const int32 newer = addLabelled("a");
  EXPECT_EQ(idCount("a"), 2);
  EXPECT_EQ(idAt(1, "a"), older);
  EXPECT_EQ(idAt(2, "a"), newer);
}

TEST_F(GroupsTest, id_at_an_index_outside_the_group_is_out_of_bounds) {
  addLabelled("a");
  for (const int32 index : {-1, 0, 2})
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { idAt(index, "a"); });
}

TEST_F(GroupsTest, id_at_in_an_unknown_group_outranks_a_bad_index) {
  expectFailure("NON_EXISTENT", "Group name", [&] { idAt(0, "none"); });
}

TEST_F(GroupsTest, emptied_group_counts_0_ids_and_has_none_at_1) {
  store().removeSignal(addLabelled("a"));
  EXPECT_EQ(idCount("a"), 0);
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { idAt(1, "a"); });
}

TEST_F(GroupsTest, removal_in_the_middle_closes_the_gap) {
  const int32 first = addLabelled("a");
  const int32 second = addLabelled("a");
  const int32 third = addLabelled("a");
  store().removeSignal(second);
  EXPECT_EQ(idAt(1, "a"), first);
  EXPECT_EQ(idAt(2, "a"), third);
}

TEST_F(GroupsTest, group_names_are_compared_with_their_case) {
  addLabelled("a");
  expectFailure("NON_EXISTENT", "group name", [&] { idCount("A"); });
}

TEST_F(GroupsTest, empty_name_is_a_group_like_any_other) {
  const int32 id = addLabelled("");
  EXPECT_EQ(idAt(1, ""), id);
}

TEST_F(GroupsTest, queries_leave_no_group_behind) {
  expectFailure("NON_EXISTENT", "group name", [&] { idCount("none"); });
  expectFailure("NON_EXISTENT", "group name", [&] { idCount("none"); });
  EXPECT_EQ(store().groupCount(Column::SignalName), 0);
}

}  // namespace
}  // namespace kvr::test
