// The 13 methods through their descriptors, with hand-made cells.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/typedmap/map_fixture.h"

namespace kvr::test {
namespace {

using Cells = std::vector<ntob::ArgumentCell>;
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
const std::vector<std::string> kByIndex = {"getDataByIndex", "getKeyByIndex", "deleteDataByIndex"};
const std::vector<std::string> kByKey = {"getDataByKey", "getIndexByKey", "deleteDataByKey"};
const std::vector<std::string> kWithoutOutput = {"insert", "deleteDataByKey", "deleteDataByIndex",
                                                 "Clear"};

class MapMethods : public LiveArraysTest {
 protected:
  // Keys 10, 20, 30 with values 1, 2, 3.
  const OwnedArray map = aNumberMap();
  const OwnedArray twenty = aNumber(20);

  void SetUp() override {
    for (const double i : {1.0, 2.0, 3.0}) insert(map, aNumber(10 * i), aNumber(i));
  }

  std::int64_t indexOf(double key) const {
    return execute("getIndexByKey", 1, {cell(map), cell(aNumber(key))}).outputs[0].word;
  }
  double numberAt(const std::string& method, std::int32_t index) const {
    return vrGetScalar(execute(method, 1, {cell(map), cell(index)}).array().get());
  }

  // Inputs with which the method succeeds.
  Cells goodInputs(const std::string& method) const {
    if (method == "insert") return {cell(map), cell(twenty), cell(twenty)};
    if (method.ends_with("ByIndex")) return {cell(map), cell(2)};
    if (method.ends_with("Key")) return {cell(map), cell(twenty)};
    return {cell(map)};
  }
};

TEST_F(MapMethods, insert_appends_new_keys_and_replaces_in_place) {
  EXPECT_EQ(indexOf(10), 1);
  EXPECT_EQ(indexOf(30), 3);
  insert(map, aNumber(10), aNumber(7));
  EXPECT_EQ(indexOf(10), 1);
  EXPECT_EQ(countOf(map), 3);
  EXPECT_EQ(numberAt("getDataByIndex", 1), 7);
}

TEST_F(MapMethods, insert_of_several_keys_at_once_is_refused) {
  expectFailure("TYPE_MISMATCH", "key", [&] { insert(map, aRow({1, 2}), aNumber(1)); });
  EXPECT_EQ(countOf(map), 3);
}

TEST_F(MapMethods, insert_reports_the_key_before_the_value) {
  expectFailure("TYPE_MISMATCH", "key", [&] { insert(map, aCell(), aCell()); });
  expectFailure("TYPE_MISMATCH", "value", [&] { insert(map, aNumber(1), aCell()); });
  EXPECT_EQ(countOf(map), 3);
}

TEST_F(MapMethods, reading_by_key_and_by_index_agrees) {
  EXPECT_EQ(numberAt("getKeyByIndex", 2), 20);
  EXPECT_EQ(numberAt("getDataByIndex", 2), 2);
  const OwnedArray value = execute("getDataByKey", 1, {cell(map), cell(twenty)}).array();
  EXPECT_EQ(vrGetScalar(value.get()), 2);
}

TEST_F(MapMethods, deleting_by_key_and_by_index_moves_later_entries_down) {
  execute("deleteDataByKey", 0, {cell(map), cell(aNumber(10))});
  EXPECT_EQ(indexOf(20), 1);
  execute("deleteDataByIndex", 0, {cell(map), cell(1)});
  EXPECT_EQ(indexOf(30), 1);
  EXPECT_EQ(countOf(map), 1);
}

TEST_F(MapMethods, is_key_answers_with_a_truth_value_in_the_whole_cell) {
  EXPECT_EQ(execute("isKey", 1, {cell(map), cell(twenty)}).outputs[0].word, 1);
  EXPECT_EQ(execute("isKey", 1, {cell(map), cell(aNumber(5))}).outputs[0].word, 0);
}

TEST_F(MapMethods, is_key_of_a_key_that_cannot_be_fails) {
  expectFailure("TYPE_MISMATCH", "key", [&] { execute("isKey", 1, {cell(map), cell(aCell())}); });
}

TEST_F(MapMethods, indices_outside_the_entries_fail) {
  for (const std::string& method : kByIndex) {
    for (const std::int32_t index : {0, 4, -1, kHighest, kLowest, kLowest + 1}) {
      expectFailure("INDEX_OUT_OF_BOUNDS", [&] { execute(method, 1, {cell(map), cell(index)}); });
    }
  }
  EXPECT_EQ(countOf(map), 3);
}

TEST_F(MapMethods, absent_keys_fail) {
  for (const std::string& method : kByKey) {
    expectFailure("KEY_NOT_IN_MAP", [&] { execute(method, 1, {cell(map), cell(aNumber(5))}); });
    expectFailure("TYPE_MISMATCH", "key", [&] { execute(method, 1, {cell(map), cell(aCell())}); });
  }
  EXPECT_EQ(countOf(map), 3);
}

TEST_F(MapMethods, an_empty_map_never_says_that_it_is_empty) {
  const OwnedArray empty = aNumberMap();
  for (const std::string& method : kByIndex) {
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { execute(method, 1, {cell(empty), cell(1)}); });
  }
  for (const std::string& method : kByKey) {
    expectFailure("KEY_NOT_IN_MAP", [&] { execute(method, 1, {cell(empty), cell(twenty)}); });
  }
  EXPECT_EQ(execute("isKey", 1, {cell(empty), cell(twenty)}).outputs[0].word, 0);
  execute("Clear", 0, {cell(empty)});
  EXPECT_EQ(countOf(empty), 0);
}

TEST_F(MapMethods, clear_keeps_the_types_and_indices_start_again) {
  execute("Clear", 0, {cell(map)});
  EXPECT_EQ(countOf(map), 0);
  EXPECT_EQ(typesOf(map), "double/double");
  insert(map, twenty, aNumber(1));
  EXPECT_EQ(indexOf(20), 1);
}

TEST_F(MapMethods, type_names_are_new_character_rows) {
  const OwnedArray first = execute("getKeyType", 1, {cell(map)}).array();
  const OwnedArray second = execute("getKeyType", 1, {cell(map)}).array();
  EXPECT_NE(first.get(), second.get());
  EXPECT_TRUE(vormel::equal(first.get(), aText("double").get()));
}

// ---- Counts of requested outputs: three families ----

TEST_F(MapMethods, data_is_not_read_when_more_than_one_output_is_asked_for) {
  const OwnedArray unknown = aNumber(5);
  for (const std::int32_t count : {2, 3, kHighest}) {
    for (const Cells& inputs : {Cells{cell(map), cell(twenty)}, Cells{cell(map), cell(unknown)}}) {
      const Executed result = execute("getDataByKey", count, inputs);
      EXPECT_EQ(result.outputCount, count);
      EXPECT_FALSE(result.wrote(0));
    }
    for (const std::int32_t index : {2, 0, 99}) {
      const Executed result = execute("getDataByIndex", count, {cell(map), cell(index)});
      EXPECT_EQ(result.outputCount, count);
      EXPECT_FALSE(result.wrote(0));
    }
  }
}

TEST_F(MapMethods, an_unknown_key_fails_with_one_output_asked_for_and_with_none) {
  for (const std::int32_t count : {0, 1}) {
    expectFailure("KEY_NOT_IN_MAP", [&] {
      execute("getDataByKey", count, {cell(map), cell(aNumber(5))});
    });
  }
}

const std::vector<std::string> kWithOutput = {"getDataByKey", "getDataByIndex", "getKeyByIndex",
                                              "getKeyType",   "getValueType",   "getCount",
                                              "isKey",        "getIndexByKey"};
constexpr std::size_t kWithArrayOutput = 5;  // the first of them
constexpr std::size_t kDataReaders = 2;

void release(std::size_t method, const Executed& result) {
  if (method < kWithArrayOutput) result.array();
}

TEST_F(MapMethods, a_method_with_an_output_gives_one_when_none_is_asked_for) {
  for (std::size_t i = 0; i < kWithOutput.size(); ++i) {
    const Executed result = execute(kWithOutput[i], 0, goodInputs(kWithOutput[i]));
    EXPECT_EQ(result.outputCount, 1) << kWithOutput[i];
    EXPECT_TRUE(result.wrote(0)) << kWithOutput[i];
    release(i, result);
  }
}

TEST_F(MapMethods, other_methods_write_their_first_output_when_more_are_asked_for) {
  for (std::size_t i = kDataReaders; i < kWithOutput.size(); ++i) {
    const Executed result = execute(kWithOutput[i], 3, goodInputs(kWithOutput[i]));
    EXPECT_EQ(result.outputCount, 3) << kWithOutput[i];
    EXPECT_TRUE(result.wrote(0)) << kWithOutput[i];
    EXPECT_FALSE(result.wrote(1)) << kWithOutput[i];
    release(i, result);
  }
}

TEST_F(MapMethods, methods_without_output_do_not_look_at_the_count) {
  for (const std::string& method : kWithoutOutput) {
    for (const std::int32_t count : {0, 1, 2, -1}) {
      insert(map, aNumber(40), aNumber(4));
      insert(map, twenty, aNumber(4));
      const Executed result = execute(method, count, goodInputs(method));
      EXPECT_EQ(result.outputCount, count) << method;
      EXPECT_FALSE(result.wrote(0)) << method;
    }
  }
}

// ---- Cells, handles ----

TEST_F(MapMethods, surplus_inputs_are_ignored) {
  for (const std::string& method : {std::string("getCount"), std::string("getIndexByKey")}) {
    Cells inputs = goodInputs(method);
    inputs.resize(6, cell(-7));
    EXPECT_TRUE(execute(method, 1, inputs).wrote(0));
  }
}

TEST_F(MapMethods, a_dead_handle_is_refused_by_the_host) {
  vormel::endObject(map.get());
  for (const auto& method : mapClass().methods()) {
    if (method->isConstructor()) continue;
    expectHostError("DeadObject", [&] { execute(method->name(), 1, goodInputs(method->name())); });
  }
  expectHostError("DeadObject", [&] { construct(map, aNumber(1), aNumber(1)); });
}

TEST_F(MapMethods, a_dead_handle_is_refused_also_where_the_body_would_do_nothing) {
  vormel::endObject(map.get());
  expectHostError("DeadObject", [&] { execute("getDataByKey", 2, goodInputs("getDataByKey")); });
}

TEST_F(MapMethods, what_is_no_handle_at_all_is_a_bad_cast) {
  const OwnedArray number = aNumber(1);
  EXPECT_THROW(execute("getCount", 1, {cell(number)}), std::bad_cast);
  EXPECT_THROW(construct(number, number, number), std::bad_cast);
}

}  // namespace
}  // namespace kvr::test
