// Methods that count, find, relate and remove signals.
#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

// Two runs; the first has two signals, the second one.
class Signals : public RepositoryTest {
 protected:
  Signals() {
    addSignals(run, 2);
    addTo(other);
  }

  const int32 run = addRun();
  const int32 other = addRun();
};

// ---- getSignalCount ----

TEST_F(Signals, count_of_the_handle_alone_is_over_all_runs) {
  const Value count = call("getSignalCount");
  expectArray(count, vrINT32_CLASS, {1, 1});
  EXPECT_EQ(count.toInt32(), 3);
}

TEST_F(Signals, count_of_an_empty_store_is_0) {
  call("removeRun", {run});
  call("removeRun", {other});
  EXPECT_EQ(call("getSignalCount").toInt32(), 0);
}

TEST_F(Signals, count_of_a_run_is_an_int32_scalar) {
  const Value count = call("getSignalCount", {run});
  expectArray(count, vrINT32_CLASS, {1, 1});
  EXPECT_EQ(count.toInt32(), 2);
}

TEST_F(Signals, count_of_an_unknown_run_is_0_and_no_failure) {
  const UnchangedStore unchanged;
  const Value count = call("getSignalCount", {99});
  expectArray(count, vrINT32_CLASS, {1, 1});
  EXPECT_EQ(count.toInt32(), 0);
}

TEST_F(Signals, run_to_count_may_be_any_scalar_and_is_truncated) {
  EXPECT_EQ(call("getSignalCount", {run + 0.9}).toInt32(), 2);
  EXPECT_EQ(call("getSignalCount", {true}).toInt32(), 2);
  EXPECT_EQ(call("getSignalCount", {aScalar<float>(vrSINGLE_CLASS, 1)}).toInt32(), 2);
  const OwnedArray beyond = aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + 1);
  EXPECT_EQ(call("getSignalCount", {beyond}).toInt32(), 0);
}

TEST_F(Signals, run_to_count_without_a_number_names_no_run) {
  for (const auto& any : {fieldlessStruct, emptyCell, point, noInt32})
    EXPECT_EQ(call("getSignalCount", {any()}).toInt32(), 0);
  EXPECT_EQ(call("getSignalCount", {repository}).toInt32(), 0);
}

TEST_F(Signals, run_to_count_of_an_integer_class_may_have_any_size) {
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls) {
    OwnedArray square = aNumeric(cls, {2, 2});
    *static_cast<std::int8_t*>(vrGetData(square.get())) = 1;
    EXPECT_EQ(call("getSignalCount", {square}).toInt32(), 2) << cls;
  }
}

TEST_F(Signals, run_to_count_that_is_neither_integer_nor_scalar_reports_not_integer) {
  const UnchangedStore unchanged;
  const OwnedArray cells = aCell({1, 2});
  for (const auto& bad : {twoNumbers, twoTruths, anEmpty, someText})
    expectFailure("NOT_INTEGER", "Run ID", [&] { call("getSignalCount", {bad()}); });
  expectFailure("NOT_INTEGER", "Run ID", [&] { call("getSignalCount", {cells}); });
}

TEST_F(Signals, count_takes_no_more_than_a_run) {
  const UnchangedStore unchanged;
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignalCount", {1, 1}); });
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignalCount", {"a", "b", "c"}); });
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignalCount", {1, 1, 1, 1, 1}); });
}

TEST_F(Signals, counting_raises_the_output_count_from_none_to_one) {
  for (const int count : {0, 1, 4}) {
    EXPECT_EQ(invoke("getSignalCount", count).count, count == 0 ? 1 : count);
    const CallResult result = invoke("getSignalCount", count, {run});
    EXPECT_EQ(result.count, count == 0 ? 1 : count);
    EXPECT_EQ(result.cells.at(0).toInt32(), 2);
  }
}

TEST_F(Signals, count_of_a_run_made_by_its_date_alone_is_0) {
  call("setDateCreated", {50, 1.5});
  EXPECT_EQ(call("getSignalCount", {50}).toInt32(), 0);
}

// ---- getID, isValidSignalID, getSignalSource ----

TEST_F(Signals, id_at_a_run_and_index_is_an_int32_scalar) {
  const Value id = call("getID", {run, 2});
  expectArray(id, vrINT32_CLASS, {1, 1});
  EXPECT_EQ(id.toInt32(), 2);
  EXPECT_EQ(call("getID", {other, 1}).toInt32(), 3);
}

TEST_F(Signals, id_at_an_unknown_run_reports_run_id_and_outside_it_index) {
  const int32 empty = addRun();
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, empty, 99})
    expectFailure("NON_EXISTENT", "Run ID", [&] { call("getID", {unknown, 1}); });
  for (const int32 index : {0, -1, 3, INT32_MAX, INT32_MIN})
    expectFailure("NON_EXISTENT", "Index", [&] { call("getID", {run, index}); });
}

TEST_F(Signals, signal_is_valid_in_its_own_run_alone) {
  const Value truth = call("isValidSignalID", {run, 2});
  expectArray(truth, vrLOGICAL_CLASS, {1, 1});
  EXPECT_TRUE(truth.toBool());
  EXPECT_FALSE(call("isValidSignalID", {other, 2}).toBool());
  EXPECT_FALSE(call("isValidSignalID", {99, 2}).toBool());
}

// Required: it does not answer false.
TEST_F(Signals, validity_of_an_unknown_signal_reports_id) {
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 4})
    expectFailure("NON_EXISTENT", "ID", [&] { call("isValidSignalID", {run, unknown}); });
}

// Despite its name it reads the block paths.
TEST_F(Signals, signal_source_is_the_block_path_at_an_index) {
  for (const char* block : {"z", "a", "z"}) add(aSignal().inRun(run).inBlock(block));
  EXPECT_EQ(call("getSignalSource", {1}).toString(), "block");
  EXPECT_EQ(call("getSignalSource", {2}).toString(), "z");
  EXPECT_EQ(call("getSignalSource", {3}).toString(), "a");
}

TEST_F(Signals, signal_source_stays_when_its_signals_are_gone) {
  call("removeRun", {run});
  call("removeRun", {other});
  EXPECT_EQ(call("getSignalSource", {1}).toString(), "block");
}

TEST_F(Signals, signal_source_outside_the_block_paths_reports_index) {
  const UnchangedStore unchanged;
  for (const int32 index : {0, -1, 2, INT32_MAX, INT32_MIN})
    expectFailure("NON_EXISTENT", "Index", [&] { call("getSignalSource", {index}); });
}

TEST_F(Signals, empty_block_path_comes_as_0_by_0_characters) {
  add(aSignal().inRun(run).inBlock(""));
  expectArray(call("getSignalSource", {2}), vrCHAR_CLASS, {0, 0});
}

TEST_F(Signals, validity_and_source_always_set_the_output_count_to_one) {
  for (const int count : {0, 1, 5}) {
    EXPECT_EQ(invoke("isValidSignalID", count, {run, 1}).count, 1);
    EXPECT_EQ(invoke("getSignalSource", count, {1}).count, 1);
    EXPECT_EQ(invoke("getID", count, {run, 1}).count, count);
  }
}

TEST_F(Signals, fixed_methods_do_not_look_at_surplus_inputs) {
  EXPECT_EQ(call("getID", {run, 2, 9, 9}).toInt32(), 2);
  EXPECT_TRUE(call("isValidSignalID", {run, 2, 9}).toBool());
  EXPECT_EQ(call("getSignalSource", {1, 9}).toString(), "block");
}

// ---- getChildrenAndParent ----

class Family : public RepositoryTest {
 protected:
  Family() {
    addTo(run);                                                      // 1, related to none
    addTo(run);                                                      // 2, the parent
    for (int i = 0; i < 3; ++i) add(aSignal().inRun(run).under(2));  // 3, 4, 5
  }

  // Top level, children, parent.
  std::vector<Value> family(Inputs inputs, int nargout = 3) const {
    return invoke("getChildrenAndParent", nargout, inputs).cells;
  }

  const int32 run = addRun();
};

TEST_F(Family, parent_is_at_the_top_and_lists_its_children_in_order) {
  const std::vector<Value> cells = family({2});
  expectArray(cells[0], vrLOGICAL_CLASS, {1, 1});
  EXPECT_TRUE(cells[0].toBool());
  expectArray(cells[1], vrINT32_CLASS, {1, 3});
  EXPECT_EQ(cells[1].toInt32s(), (std::vector<int32>{3, 4, 5}));
  EXPECT_EQ(cells[2].toInt32(), 0);
  EXPECT_EQ(cells[2].array(), nullptr) << "an int32 cell, no array";
}

TEST_F(Family, child_is_not_at_the_top_and_names_its_parent) {
  const std::vector<Value> cells = family({4});
  EXPECT_FALSE(cells[0].toBool());
  EXPECT_EQ(cells[1].size(), 0U);
  EXPECT_EQ(cells[2].toInt32(), 2);
}

// Part of the interface: not of class int32.
TEST_F(Family, no_children_give_an_empty_array_of_the_class_of_the_first_input) {
  expectArray(family({1})[1], vrINT32_CLASS, {0, 0});
  expectArray(family({1.0})[1], vrDOUBLE_CLASS, {0, 0});
  expectArray(family({aScalar<float>(vrSINGLE_CLASS, 1)})[1], vrSINGLE_CLASS, {0, 0});
  expectArray(family({true})[1], vrLOGICAL_CLASS, {0, 0});
  expectArray(family({aScalar<char16_t>(vrUINT16_CLASS, 1)})[1], vrUINT16_CLASS, {0, 0});
  const OwnedArray code = filled<char16_t>(someCharacters({1, 1}), {1});
  expectArray(family({code})[1], vrCHAR_CLASS, {0, 0});
}

TEST_F(Family, no_children_by_run_and_index_give_the_class_of_the_run) {
  expectArray(family({double(run), 1})[1], vrDOUBLE_CLASS, {0, 0});
  expectArray(family({run, 1})[1], vrINT32_CLASS, {0, 0});
}

TEST_F(Family, run_and_index_reach_the_same_signal) {
  const std::vector<Value> cells = family({run, 2});
  EXPECT_EQ(cells[1].toInt32s(), (std::vector<int32>{3, 4, 5}));
}

TEST_F(Family, first_input_is_read_as_a_number_untested) {
  EXPECT_EQ(family({2.9})[1].size(), 3U);
  EXPECT_EQ(family({aRow({2, 1})})[1].size(), 3U);
  EXPECT_EQ(family({run + 0.5, 2})[1].size(), 3U);
  for (const auto& any : {fieldlessStruct, emptyCell, point, anEmpty})
    expectFailure("NON_EXISTENT", "ID", [&] { family({any()}); });
}

TEST_F(Family, index_is_read_from_storage) {
  const OwnedArray index = aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + 2);
  EXPECT_EQ(family({run, index})[1].size(), 3U);
}

TEST_F(Family, index_that_is_no_integer_scalar_reports_index_ahead_of_the_run) {
  const UnchangedStore unchanged;
  for (const auto& bad : {half, truth, someText, twoInt32s, noInt32, emptyCell, point})
    expectFailure("NOT_INTEGER_SCALAR", "Index", [&] { family({99, bad()}); });
}

TEST_F(Family, unknown_signal_run_or_index_reports_it) {
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 6})
    expectFailure("NON_EXISTENT", "ID", [&] { family({unknown}); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { family({99, 1}); });
  for (const int32 index : {0, -1, 6})
    expectFailure("NON_EXISTENT", "Index", [&] { family({run, index}); });
}

TEST_F(Family, other_counts_report_invalid_signature) {
  const UnchangedStore unchanged;
  const OwnedArray one = anInt32(1);
  const Cells inputs{handle(), cellOf(one), cellOf(one), cellOf(one), cellOf(one), cellOf(one)};
  for (const std::size_t count : {1, 4, 5, 6})
    expectFailure("INVALID_SIGNATURE",
                  [&] { executeByHand("getChildrenAndParent", inputs, count); });
  expectFailure("INVALID_SIGNATURE", [&] { family({run, 1, 1}); });
}

TEST_F(Family, all_outputs_are_written_whatever_the_count_says) {
  for (const int count : {0, 1, 2, 3, 5}) {
    const CallResult result = invoke("getChildrenAndParent", count, {2});
    EXPECT_EQ(result.count, count);
    EXPECT_TRUE(result.cells.at(0).toBool());
    EXPECT_EQ(result.cells.at(1).size(), 3U);
    EXPECT_EQ(result.cells.at(2).toInt32(), 0);
  }
}

TEST_F(Family, middle_child_that_is_removed_leaves_the_others_in_order) {
  call("remove", {4});
  EXPECT_EQ(family({2})[1].toInt32s(), (std::vector<int32>{3, 5}));
}

TEST_F(Family, parent_that_is_gone_is_still_named) {
  const int32 far = add(aSignal().inRun(addRun()).under(2));
  call("removeRun", {run});
  const std::vector<Value> cells = family({far});
  EXPECT_FALSE(cells[0].toBool());
  EXPECT_EQ(cells[2].toInt32(), 2);
}

// ---- remove ----

TEST_F(Family, removing_the_parent_takes_its_children_along) {
  call("remove", {2});
  EXPECT_EQ(call("getSignalCount").toInt32(), 1);
}

TEST_F(Family, removing_a_child_leaves_the_parent) {
  call("remove", {run, 3});
  EXPECT_EQ(call("getSignalCount").toInt32(), 4);
  EXPECT_EQ(family({2})[1].toInt32s(), (std::vector<int32>{4, 5}));
}

TEST_F(Family, signal_whose_parent_is_gone_goes_only_with_its_run) {
  const int32 grandchild = add(aSignal().inRun(run).under(4));
  call("remove", {4});
  {
    const UnchangedStore unchanged;
    expectFailure("NON_EXISTENT", "ID", [&] { call("remove", {grandchild}); });
  }
  EXPECT_EQ(family({grandchild})[2].toInt32(), 4);
  call("removeRun", {run});
  EXPECT_EQ(call("getSignalCount").toInt32(), 0);
}

TEST_F(Family, parent_with_a_child_in_a_removed_run_cannot_be_removed) {
  const int32 parent = addTo(run);
  const int32 away = addRun();
  const int32 child = add(aSignal().inRun(away).under(parent));
  call("removeRun", {away});
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "ID", [&] { call("remove", {parent}); });
  EXPECT_EQ(family({parent})[1].toInt32s(), std::vector<int32>{child});
}

TEST_F(Family, removal_closes_the_gap_in_the_run) {
  call("remove", {run, 1});
  EXPECT_EQ(call("getID", {run, 1}).toInt32(), 2);
}

TEST_F(Family, removal_of_what_is_not_there_changes_nothing) {
  const int32 empty = addRun();
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 6})
    expectFailure("NON_EXISTENT", "ID", [&] { call("remove", {unknown}); });
  for (const int32 unknown : {0, empty, 99})
    expectFailure("NON_EXISTENT", "Run ID", [&] { call("remove", {unknown, 1}); });
  for (const int32 index : {0, -1, 6})
    expectFailure("NON_EXISTENT", "Index", [&] { call("remove", {run, index}); });
}

// ---- setParent ----

TEST_F(Family, set_parent_of_known_signals_changes_nothing) {
  const UnchangedStore unchanged;
  for (const auto& [child, parent] : {std::pair(1, 2), {3, 1}, {1, 99}, {99, 1}, {2, 2}}) {
    const CallResult result = invoke("setParent", 0, {child, parent});
    EXPECT_EQ(result.count, 0);
    EXPECT_TRUE(result.cells.at(0).isNothing());
  }
}

TEST_F(Family, set_parent_of_two_unknown_signals_reports_id) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "ID", [&] { call("setParent", {99, 100}); });
  expectFailure("NON_EXISTENT", "ID", [&] { call("setParent", {0, 0}); });
}

}  // namespace
}  // namespace kvr::test
