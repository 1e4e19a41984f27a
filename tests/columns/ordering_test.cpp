// Names of groups in the order asked for, and what the sort leaves behind.
#include <algorithm>
#include <random>

#include "kvrntob/columns/columns.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using Names = std::vector<std::string>;

class OrderingTest : public StoreTest {
 protected:
  const int32 run = addRun();

  void addBlocks(const Names& names) {
    for (const std::string& name : names) add(aSignal().inRun(run).inBlock(name));
  }

  // All names of the block column, one call each.
  static Names names(SortOrder order) {
    Names all;
    for (int32 index = 1; index <= store().groupCount(Column::BlockPath); ++index)
      all.push_back(store().groupName(index, Column::BlockPath, order));
    return all;
  }

  // The list as it stands.
  static Names listed() {
    Names all;
    for (int32 index = 1; index <= store().groupCount(Column::BlockPath); ++index)
      all.push_back(store().blockSourceAt(index));
    return all;
  }
};

TEST_F(OrderingTest, ascending_puts_capitals_before_small_letters) {
  addBlocks({"b", "a", "C"});
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"C", "a", "b"}));
}

TEST_F(OrderingTest, descending_is_the_reverse) {
  addBlocks({"b", "a", "C"});
  EXPECT_EQ(names(SortOrder::Descending), (Names{"b", "a", "C"}));
}

TEST_F(OrderingTest, digits_come_before_letters_and_not_as_numbers) {
  addBlocks({"A", "9", "10", "a"});
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"10", "9", "A", "a"}));
}

TEST_F(OrderingTest, prefix_comes_before_the_longer_name) {
  addBlocks({"ab", "a", "abc"});
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"a", "ab", "abc"}));
}

TEST_F(OrderingTest, bytes_count_as_unsigned) {
  addBlocks({"\xc3\xa4", "z", "\x01"});
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"\x01", "z", "\xc3\xa4"}));
}

TEST_F(OrderingTest, nul_characters_in_names_count) {
  addBlocks({std::string("a\0b", 3), "a", std::string("a\0a", 3)});
  EXPECT_EQ(names(SortOrder::Ascending),
            (Names{"a", std::string("a\0a", 3), std::string("a\0b", 3)}));
}

TEST_F(OrderingTest, empty_name_is_first_ascending_and_last_descending) {
  addBlocks({"b", "", "a"});
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"", "a", "b"}));
  EXPECT_EQ(names(SortOrder::Descending), (Names{"b", "a", ""}));
}

TEST_F(OrderingTest, emptied_group_still_stands_among_the_names) {
  addBlocks({"b", "a"});
  store().removeSignal(1);
  EXPECT_EQ(names(SortOrder::Ascending), (Names{"a", "b"}));
}

TEST_F(OrderingTest, group_name_outside_the_list_is_out_of_bounds_and_sorts_nothing) {
  addBlocks({"b", "a"});
  for (const int32 index : {-1, 0, 3})
    expectFailure("INDEX_OUT_OF_BOUNDS",
                  [&] { store().groupName(index, Column::BlockPath, SortOrder::Ascending); });
  EXPECT_EQ(listed(), (Names{"b", "a"}));
}

TEST_F(OrderingTest, group_name_in_an_empty_column_is_out_of_bounds) {
  for (const Column column :
       {Column::BlockPath, Column::DataSource, Column::SignalName, Column::Model})
    expectFailure("INDEX_OUT_OF_BOUNDS",
                  [&] { store().groupName(1, column, SortOrder::Descending); });
}

TEST_F(OrderingTest, each_column_is_sorted_by_itself) {
  for (const char* text : {"y", "x"})
    add(aSignal().inRun(run).inBlock(text).withSource(text).withLabel(text).inModel(text));
  for (const Column column : {Column::DataSource, Column::SignalName, Column::Model})
    EXPECT_EQ(store().groupName(1, column, SortOrder::Ascending), "x");
  EXPECT_EQ(listed(), (Names{"y", "x"}));
}

TEST_F(OrderingTest, sort_outlives_the_call) {
  addBlocks({"a", "c", "b"});
  store().groupName(1, Column::BlockPath, SortOrder::Descending);
  EXPECT_EQ(listed(), (Names{"c", "b", "a"}));
}

TEST_F(OrderingTest, name_met_after_a_sort_goes_to_the_end_until_the_next) {
  addBlocks({"a", "c"});
  store().groupName(1, Column::BlockPath, SortOrder::Descending);
  addBlocks({"b"});
  EXPECT_EQ(listed(), (Names{"c", "a", "b"}));
  store().groupName(1, Column::BlockPath, SortOrder::Ascending);
  EXPECT_EQ(listed(), (Names{"a", "b", "c"}));
}

TEST_F(OrderingTest, lists_of_ids_are_never_sorted) {
  addBlocks({"a", "b", "a"});
  names(SortOrder::Descending);
  EXPECT_EQ(store().groupIDAt(1, "a", Column::BlockPath), 1);
  EXPECT_EQ(store().groupIDAt(2, "a", Column::BlockPath), 3);
}

TEST_F(OrderingTest, any_list_is_sorted_whatever_order_it_stands_in) {
  std::mt19937 random(20240607);
  for (int round = 0; round < 50; ++round) {
    addBlocks({std::to_string(random()), std::to_string(random())});
    Names expected = listed();
    std::sort(expected.begin(), expected.end());
    const bool descending = random() % 2 == 0;
    if (descending) std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(names(descending ? SortOrder::Descending : SortOrder::Ascending), expected) << round;
  }
}

// ---- The run column ----

TEST_F(OrderingTest, run_names_stay_in_order_of_creation_in_both_orders) {
  store().setRunName(run, "c");
  addRun("b");
  addRun("a");
  for (const SortOrder order : {SortOrder::Ascending, SortOrder::Descending}) {
    EXPECT_EQ(store().groupName(1, Column::RunName, order), "c");
    EXPECT_EQ(store().groupName(3, Column::RunName, order), "a");
  }
}

TEST_F(OrderingTest, run_names_need_not_be_unique) {
  addRun("run");
  EXPECT_EQ(store().groupName(1, Column::RunName, SortOrder::Ascending), "run");
  EXPECT_EQ(store().groupName(2, Column::RunName, SortOrder::Ascending), "run");
}

TEST_F(OrderingTest, run_name_outside_the_list_is_out_of_bounds) {
  for (const int32 index : {-1, 0, 2})
    expectFailure("INDEX_OUT_OF_BOUNDS",
                  [&] { store().groupName(index, Column::RunName, SortOrder::Ascending); });
}

}  // namespace
}  // namespace kvr::test
