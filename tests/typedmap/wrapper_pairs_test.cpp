// The tests that the wrapper of every pair of a key type and a value type passes.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>

#include "kvrntob/typedmap/abstract_wrapper.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"
#include "tests/typedmap/list_model.h"
#include "tests/typedmap/random_steps.h"
#include "tests/typedmap/samples.h"

namespace kvr::test {
namespace {

// A type of keys or values: what its samples are as host arrays, and what a map makes of them.
struct SampleType {
  int classID;
  const char* name;
  OwnedArray (*array)(int);
  OwnedArray (*result)(int);
};

template <class T>
SampleType ofType() {
  return {hostClass<T>, typeName<T>, sampleArray<T>, sampleResult<T>};
}

const SampleType kKeys[] = {ofType<std::string>(),  ofType<double>(),        ofType<float>(),
                            ofType<std::int32_t>(), ofType<std::uint32_t>(), ofType<std::int64_t>(),
                            ofType<std::uint64_t>()};
const SampleType kValues[] = {
    ofType<bool>(),          ofType<std::string>(),   ofType<double>(),
    ofType<float>(),         ofType<std::int8_t>(),   ofType<std::uint8_t>(),
    ofType<std::int16_t>(),  ofType<std::uint16_t>(), ofType<std::int32_t>(),
    ofType<std::uint32_t>(), ofType<std::int64_t>(),  ofType<std::uint64_t>(),
    ofType<vrArray*>()};

using PairOfTypes = std::tuple<SampleType, SampleType>;

class WrapperPair : public LiveArraysTest, public ::testing::WithParamInterface<PairOfTypes> {
 protected:
  const SampleType keys = std::get<0>(GetParam());
  const SampleType values = std::get<1>(GetParam());
  const std::unique_ptr<AbstractVrWrapperDataMap> map{
      makeWrapperForKeyClass(keys.classID, values.classID)};
  ListModel<int, int> model;  // of sample numbers

  static bool sameAndReleased(vrArray* got, const OwnedArray& expected) {
    const OwnedArray array(got);
    return vormel::equal(array.get(), expected.get());
  }

  // Where the map and the model differ; empty if nowhere.
  std::string difference() const {
    if (map->getCount() != static_cast<int>(model.size())) return "count";
    for (int i = 0; i < map->getCount(); ++i) {
      const auto [keyNumber, valueNumber] = model[static_cast<std::size_t>(i)];
      const OwnedArray key = keys.array(keyNumber);
      const OwnedArray value = values.result(valueNumber);
      if (!map->isKey(key.get())) return "whether it is a key";
      if (map->getIndexByID(key.get()) != i) return "index by key";
      if (!sameAndReleased(map->getIDByIndex(i), keys.result(keyNumber))) return "key by index";
      if (!sameAndReleased(map->getDataByIndex(i), value)) return "value by index";
      if (!sameAndReleased(map->getDataByID(key.get()), value)) return "value by key";
    }
    return "";
  }

  void put(int key, int value) {
    map->put(keys.array(key).get(), values.array(value).get());
    model.put(key, value);
  }

  // What deleting failed with, and what it should have.
  using Outcome = std::pair<std::string, std::string>;

  Outcome deleteByKey(int key) {
    const int index = model.find(key);
    const OwnedArray array = keys.array(key);
    const std::string failure = failureOf([&] { map->deleteDataByID(array.get()); });
    if (index >= 0) model.erase(index);
    return {failure, index >= 0 ? "" : "KEY_NOT_IN_MAP"};
  }

  Outcome deleteByIndex(int index) {
    const bool present = index < static_cast<int>(model.size());
    const std::string failure = failureOf([&] { map->deleteDataByIndex(index); });
    if (present) model.erase(index);
    return {failure, present ? "" : "INDEX_OUT_OF_BOUNDS"};
  }
};

TEST_P(WrapperPair, random_steps_agree_with_a_list_of_pairs) {
  RandomSteps steps(20240802);
  for (int i = 0; i < 200; ++i, steps.next()) {
    const int key = steps.below(kSamples);
    const int kind = steps.below(100);
    Outcome outcome;
    if (kind < 60) {
      put(key, steps.below(kSamples));
    } else if (kind < 80) {
      outcome = deleteByKey(key);
    } else {
      outcome = deleteByIndex(steps.below(kSamples));
    }
    ASSERT_EQ(outcome.first, outcome.second) << steps.where();
    ASSERT_EQ(difference(), "") << steps.where();
  }
}

TEST_P(WrapperPair, type_names_are_those_of_the_samples_classes) {
  EXPECT_STREQ(map->getKeyType(), keys.name);
  EXPECT_STREQ(map->getValueType(), values.name);
}

TEST_P(WrapperPair, an_empty_map_knows_no_key_and_no_index) {
  const OwnedArray key = keys.array(3);
  EXPECT_EQ(map->getCount(), 0);
  EXPECT_FALSE(map->isKey(key.get()));
  expectFailure("KEY_NOT_IN_MAP", [&] { map->getDataByID(key.get()); });
  expectFailure("KEY_NOT_IN_MAP", [&] { map->getIndexByID(key.get()); });
  expectFailure("KEY_NOT_IN_MAP", [&] { map->deleteDataByID(key.get()); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->getDataByIndex(0); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->getIDByIndex(0); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->deleteDataByIndex(0); });
}

TEST_P(WrapperPair, a_key_of_another_class_is_refused_before_the_value_is_looked_at) {
  const OwnedArray wrong = aCell();
  for (const auto& action : std::initializer_list<std::function<void()>>{
           [&] { map->isKey(wrong.get()); }, [&] { map->put(wrong.get(), wrong.get()); },
           [&] { map->getDataByID(wrong.get()); }, [&] { map->getIndexByID(wrong.get()); },
           [&] { map->deleteDataByID(wrong.get()); }}) {
    expectFailure("TYPE_MISMATCH", "key", action);
  }
  EXPECT_EQ(map->getCount(), 0);
}

TEST_P(WrapperPair, a_value_of_another_class_is_refused_by_all_but_any_maps) {
  const OwnedArray key = keys.array(3);
  const OwnedArray cell = aCell();
  if (values.classID == hostClass<vrArray*>) {
    map->put(key.get(), cell.get());
    EXPECT_EQ(map->getCount(), 1);
  } else {
    expectFailure("TYPE_MISMATCH", "value", [&] { map->put(key.get(), cell.get()); });
    EXPECT_EQ(map->getCount(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(All91, WrapperPair,
                         ::testing::Combine(::testing::ValuesIn(kKeys),
                                            ::testing::ValuesIn(kValues)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) + "_to_" +
                                  std::get<1>(info.param).name;
                         });

}  // namespace
}  // namespace kvr::test
