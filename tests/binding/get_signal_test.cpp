// getSignal: by id, by data source, by run and index. What it accepts is its own.
#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

// One run of three signals; the first and the last share a data source.
class GetSignal : public RepositoryTest {
 protected:
  GetSignal() {
    for (const char* source : {"shared", "own", "shared"})
      add(aSignal().inRun(run).withSource(source));
  }

  int32 idOf(const OwnedArray& a) const { return call("getSignal", {a}).field("DataID").toInt32(); }
  int32 idOf(const OwnedArray& a, const OwnedArray& b) const {
    return call("getSignal", {a, b}).field("DataID").toInt32();
  }

  const int32 run = addRun();
  const OwnedArray runArray = anInt32(run);
  const OwnedArray one = anInt32(1);
};

OwnedArray int64BeyondInt32(int low) {
  return aScalar<std::int64_t>(vrINT64_CLASS, (std::int64_t{1} << 32) + low);
}

// ---- Two inputs ----

TEST_F(GetSignal, scalar_of_every_integer_class_is_an_id) {
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls)
    EXPECT_EQ(idOf(aScalar<std::int8_t>(cls, 2)), 2) << cls;
}

TEST_F(GetSignal, int64_id_beyond_32_bits_reads_as_its_low_half) {
  EXPECT_EQ(idOf(int64BeyondInt32(2)), 2);
}

TEST_F(GetSignal, negative_id_of_a_narrow_class_reads_as_its_storage) {
  addSignals(run, 252);  // to 255
  EXPECT_EQ(idOf(aScalar<std::int8_t>(vrINT8_CLASS, -1)), 255);
}

TEST_F(GetSignal, unknown_id_reports_id) {
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 4, INT32_MAX, INT32_MIN})
    expectFailure("NON_EXISTENT", "ID", [&] { call("getSignal", {unknown}); });
}

TEST_F(GetSignal, text_finds_the_newest_signal_of_that_data_source) {
  EXPECT_EQ(idOf(aText("shared")), 3);
  EXPECT_EQ(idOf(aText("own")), 2);
}

TEST_F(GetSignal, text_of_any_shape_is_read_in_storage_order) {
  const OwnedArray column = filled<char16_t>(someCharacters({3, 1}), {u'o', u'w', u'n'});
  EXPECT_EQ(idOf(column), 2);
}

TEST_F(GetSignal, unknown_source_reports_signal_source) {
  const UnchangedStore unchanged;
  for (const char* unknown : {"Shared", "shared ", "share", "label"})
    expectFailure("NON_EXISTENT", "Signal source", [&] { call("getSignal", {unknown}); });
}

TEST_F(GetSignal, source_finds_nothing_once_its_newest_signal_is_removed) {
  call("remove", {3});
  expectFailure("NON_EXISTENT", "Signal source", [&] { call("getSignal", {"shared"}); });
  EXPECT_EQ(idOf(one), 1);
}

TEST_F(GetSignal, after_a_copy_of_the_run_its_sources_find_the_copies) {
  call("copyRun", {run, 1});
  EXPECT_EQ(idOf(aText("own")), 5);
  EXPECT_EQ(idOf(aText("shared")), 6);
}

TEST_F(GetSignal, neither_integer_scalar_nor_characters_reports_invalid_signature) {
  const UnchangedStore unchanged;
  for (const auto& bad : Makers{half, singleTwo, truth, twoNumbers, twoInt32s, noInt32, anEmpty,
                                fieldlessStruct, point, emptyCell})
    expectFailure("INVALID_SIGNATURE", [&] { idOf(bad()); });
  expectFailure("INVALID_SIGNATURE", [&] { idOf(aNumber(3)); });
  expectFailure("INVALID_SIGNATURE", [&] { idOf(aNumeric(vrINT32_CLASS, {1, 3})); });
}

TEST_F(GetSignal, empty_text_reports_invalid_signature_and_not_a_source) {
  add(aSignal().inRun(run).withSource(""));
  const UnchangedStore unchanged;
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignal", {""}); });
  expectFailure("INVALID_SIGNATURE", [&] { idOf(someCharacters({0, 3})); });
}

// ---- Three inputs ----

TEST_F(GetSignal, run_and_index_of_every_integer_class_find_the_signal) {
  for (int cls = vrINT8_CLASS; cls <= vrUINT64_CLASS; ++cls)
    EXPECT_EQ(idOf(aScalar<std::int8_t>(cls, 1), aScalar<std::int8_t>(cls, 3)), 3) << cls;
}

TEST_F(GetSignal, run_that_is_no_integer_scalar_reports_index_or_data_run_id) {
  const UnchangedStore unchanged;
  for (const auto& bad : Makers{half, singleTwo, truth, someText, twoNumbers, twoInt32s, noInt32,
                                anEmpty, fieldlessStruct, point, emptyCell})
    expectFailure("NOT_INTEGER_SCALAR", "Index or Data Run ID", [&] { idOf(bad(), one); });
}

TEST_F(GetSignal, index_that_is_of_no_integer_class_reports_index_or_data_run_id) {
  const UnchangedStore unchanged;
  for (const auto& bad : Makers{half, singleTwo, truth, someText, twoNumbers, anEmpty,
                                fieldlessStruct, point, emptyCell})
    expectFailure("NOT_INTEGER_SCALAR", "Index or Data Run ID", [&] { idOf(runArray, bad()); });
}

// The run alone is tested for size, and that is required.
TEST_F(GetSignal, index_of_several_elements_gives_its_first) {
  EXPECT_EQ(idOf(runArray, filled<int32>(aNumeric(vrINT32_CLASS, {1, 3}), {2, 9, 9})), 2);
  EXPECT_EQ(idOf(runArray, filled<int32>(aNumeric(vrINT32_CLASS, {2, 2}), {3, 9, 9, 9})), 3);
}

TEST_F(GetSignal, index_without_elements_reports_index) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Index", [&] { idOf(runArray, noInt32()); });
}

TEST_F(GetSignal, run_and_index_beyond_int32_are_read_as_numbers) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Run ID", [&] { idOf(int64BeyondInt32(run), one); });
  expectFailure("NON_EXISTENT", "Index", [&] { idOf(runArray, int64BeyondInt32(1)); });
}

TEST_F(GetSignal, unknown_run_outranks_the_index) {
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getSignal", {run + 1, 9}); });
}

TEST_F(GetSignal, index_outside_the_run_reports_index) {
  const UnchangedStore unchanged;
  for (const int32 index : {0, -1, 4, INT32_MAX, INT32_MIN})
    expectFailure("NON_EXISTENT", "Index", [&] { call("getSignal", {run, index}); });
}

TEST_F(GetSignal, run_that_never_held_a_signal_reports_run_id_until_its_signals_are_counted) {
  const int32 empty = addRun();
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getSignal", {empty, 1}); });
  EXPECT_EQ(call("getSignalCount", {empty}).toInt32(), 0);
  expectFailure("NON_EXISTENT", "Index", [&] { call("getSignal", {empty, 1}); });
}

TEST_F(GetSignal, index_closes_up_after_a_removal) {
  call("remove", {2});
  EXPECT_EQ(idOf(runArray, anInt32(2)), 3);
}

// ---- Counts ----

TEST_F(GetSignal, other_counts_than_two_or_three_report_invalid_signature) {
  const UnchangedStore unchanged;
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignal"); });
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignal", {run, 1, 1}); });
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignal", {run, 1, 1, 1}); });
  expectFailure("INVALID_SIGNATURE", [&] { call("getSignal", {"own", 1, 1, 1, 1}); });
}

// The one declared input is the handle, so that a host may give a single cell. The sanitizers
// watch.
TEST_F(GetSignal, handle_alone_reports_invalid_signature_without_a_look_behind_it) {
  expectFailure("INVALID_SIGNATURE", [&] { executeByHand("getSignal", {handle()}); });
  EXPECT_EQ(executeByHand("getSignalCount", {handle()}).outputCount, 1);
}

TEST_F(GetSignal, output_count_of_none_becomes_one_and_others_stay) {
  EXPECT_EQ(invoke("getSignal", 0, {1}).count, 1);
  EXPECT_EQ(invoke("getSignal", 0, {1}).cells.at(0).className(), "struct");
  EXPECT_EQ(invoke("getSignal", 1, {1}).count, 1);
  const CallResult three = invoke("getSignal", 3, {1});
  EXPECT_EQ(three.count, 3);
  EXPECT_EQ(three.cells.at(0).className(), "struct");
  EXPECT_TRUE(three.cells.at(1).isNothing());
}

// ---- getSignalByRunIndex ----

TEST_F(GetSignal, by_run_index_takes_the_position_of_the_run_and_not_its_id) {
  const int32 second = addRun();
  const int32 third = addRun();
  const int32 signal = addTo(third);
  call("removeRun", {second});
  EXPECT_EQ(call("getSignalByRunIndex", {2, 1}).field("DataID").toInt32(), signal);
  EXPECT_EQ(call("getSignalByRunIndex", {1, 3}).field("DataID").toInt32(), 3);
}

TEST_F(GetSignal, by_run_index_reports_a_position_outside_the_runs_ahead_of_the_index) {
  const UnchangedStore unchanged;
  for (const int32 position : {0, -1, 2, INT32_MAX, INT32_MIN})
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { call("getSignalByRunIndex", {position, 9}); });
}

TEST_F(GetSignal, by_run_index_reports_run_id_then_index) {
  addRun();
  const UnchangedStore unchanged;
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("getSignalByRunIndex", {2, 1}); });
  expectFailure("NON_EXISTENT", "Index", [&] { call("getSignalByRunIndex", {1, 4}); });
}

TEST_F(GetSignal, by_run_index_gives_the_structure_of_get_signal) {
  EXPECT_TRUE(
      vormel::equal(call("getSignalByRunIndex", {1, 2}).array(), call("getSignal", {2}).array()));
}

TEST_F(GetSignal, by_run_index_leaves_the_output_count_and_does_not_look_at_surplus_inputs) {
  for (const int count : {0, 1, 2})
    EXPECT_EQ(invoke("getSignalByRunIndex", count, {1, 2, 99, 99}).count, count);
}

}  // namespace
}  // namespace kvr::test
