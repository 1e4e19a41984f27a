// Dravik.kvr.Map in the loaded module, through the host's dispatch.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "embedded_host/interpreter/interpreter.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

using vormel::Interpreter;
using vormel::Object;

class MapModule : public LiveArraysTest {
 protected:
  static void SetUpTestSuite() { Interpreter::instance().loadModule(KVR_MODULE); }

  static Object aMap(const vormel::Argument& key, const vormel::Argument& value) {
    return Interpreter::instance().construct("Dravik.kvr.Map", {key, value});
  }
};

TEST_F(MapModule, samples_choose_the_types) {
  const Object map = aMap("k", 1.0);
  EXPECT_EQ(map.call("getKeyType").toString(), "char");
  EXPECT_EQ(map.call("getValueType").toString(), "double");
  EXPECT_EQ(map.call("getCount").toInt32(), 0);
}

TEST_F(MapModule, entries_come_back_by_key_and_by_index) {
  const Object map = aMap("k", 1.0);
  map.call("insert", {"bread", 2.5});
  map.call("insert", {"cheese", 7.0});
  EXPECT_EQ(map.call("getDataByKey", {"cheese"}).toDouble(), 7.0);
  EXPECT_EQ(map.call("getKeyByIndex", {1}).toString(), "bread");
  EXPECT_EQ(map.call("getIndexByKey", {"cheese"}).toInt32(), 2);
  EXPECT_TRUE(map.call("isKey", {"bread"}).toBool());
  EXPECT_FALSE(map.call("isKey", {"wine"}).toBool());
}

TEST_F(MapModule, deletion_moves_later_entries_down) {
  const Object map = aMap(1, true);
  for (int key = 10; key < 15; ++key) map.call("insert", {key, true});
  map.call("deleteDataByKey", {10});
  map.call("deleteDataByIndex", {2});
  EXPECT_EQ(map.call("getIndexByKey", {14}).toInt32(), 3);
  map.call("Clear");
  EXPECT_EQ(map.call("getCount").toInt32(), 0);
}

// The name of the function that a failure carries.
template <class Action>
std::optional<std::string> failingFunction(Action&& action) {
  try {
    action();
  } catch (const vormel::HostException& failure) {
    return failure.functionName();
  }
  return "no failure";
}

TEST_F(MapModule, failures_carry_the_name_of_the_method) {
  const Object map = aMap("k", 1.0);
  expectFailure("KEY_NOT_IN_MAP", [&] { map.call("getDataByKey", {"x"}); });
  EXPECT_EQ(failingFunction([&] { map.call("getDataByKey", {"x"}); }), "getDataByKey");
  EXPECT_EQ(failingFunction([&] { aMap("", 1.0); }), "Map");
}

TEST_F(MapModule, a_refused_sample_leaves_no_instance) {
  expectFailure("ARRAY_KEYS_NOT_ALLOWED", [] { aMap("abc", 1.0); });
  expectFailure("UNSUPPORTED_KEY", [] { aMap(aCell(), 1.0); });
}

TEST_F(MapModule, indices_that_are_no_whole_numbers_are_refused_before_the_body) {
  const Object map = aMap("k", 1.0);
  expectHostError("InvalidInput", [&] { map.call("getKeyByIndex", {1.5}); });
  expectHostError("InvalidInput", [&] { map.call("getKeyByIndex", {"one"}); });
  expectHostError("InvalidInput", [&] { map.call("deleteDataByIndex", {3e9}); });
}

TEST_F(MapModule, too_few_inputs_are_refused_and_surplus_ones_ignored) {
  const Object map = aMap("k", 1.0);
  expectHostError("NotEnoughInputs", [&] { map.call("insert", {"k"}); });
  expectHostError("NotEnoughInputs", [] { Interpreter::instance().construct("Dravik.kvr.Map"); });
  map.call("insert", {"k", 1.0, 2.0, "surplus"});
  EXPECT_EQ(map.call("getCount").toInt32(), 1);
}

TEST_F(MapModule, an_ended_map_refuses_every_method) {
  const Object map = aMap("k", 1.0);
  Interpreter::instance().end(map);
  expectHostError("DeadObject", [&] { map.call("getCount"); });
  expectHostError("DeadObject", [&] { map.call("insert", {"k", 1.0}); });
}

TEST_F(MapModule, output_counts_are_left_as_the_bodies_leave_them) {
  const Object map = aMap("k", 1.0);
  map.call("insert", {"k", 5.0});
  EXPECT_EQ(map.invoke("getDataByKey", 0, {"k"}).count, 1);
  const vormel::CallResult two = map.invoke("getDataByKey", 2, {"unknown"});
  EXPECT_EQ(two.count, 2);
  EXPECT_TRUE(two.cells[0].isNothing());
  const vormel::CallResult count = map.invoke("getCount", 2);
  EXPECT_EQ(count.cells[0].toInt32(), 1);
  EXPECT_TRUE(count.cells[1].isNothing());
}

TEST_F(MapModule, a_map_in_a_map_comes_back_as_the_same_map) {
  const Object outer = aMap("k", aCell());
  {
    const Object inner = aMap(1, 1.0);
    inner.call("insert", {1, 2.0});
    outer.call("insert", {"inner", inner});
  }
  vormel::Value value = outer.call("getDataByKey", {"inner"});
  const Object inner(OwnedArray(vormel::detachedCopy(value.array())));
  EXPECT_EQ(inner.call("getDataByKey", {1}).toDouble(), 2.0);
}

TEST_F(MapModule, a_thousand_calls_leave_no_array_behind) {
  const Object map = aMap("k", aCell());
  for (int i = 0; i < 1000; ++i) {
    map.call("insert", {"k", std::vector<double>{1.0, 2.0}});
    EXPECT_EQ(map.call("getDataByKey", {"k"}).size(), 2);
  }
  EXPECT_EQ(liveArrays.made(), 2);  // the handle and the one value
}

}  // namespace
}  // namespace kvr::test
