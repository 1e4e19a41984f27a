// The tests that every pair of a key type and a value type passes. Instantiated by key type, one
// source each, so that they build side by side: PAIR_SUITE(Double, double).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>

#include "kvrntob/typedmap/data_map.h"
#include "kvrntob/typedmap/make_wrapper.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"
#include "tests/typedmap/data_map_inspector.h"
#include "tests/typedmap/list_model.h"
#include "tests/typedmap/samples.h"

namespace kvr::test {

// The failure that an action ends in, such as "KVR:kvr:EMPTY_MAP"; empty if it succeeds.
inline std::string failureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const vormel::HostException& failure) {
    return failure.identifier();
  }
  return "";
}

// Random numbers of one test, and the place in it, for its failure texts.
class Steps {
 public:
  explicit Steps(unsigned seed) : seed_(seed), random_(seed) {}

  void next() { ++step_; }
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  std::string where() const {
    return "seed " + std::to_string(seed_) + ", step " + std::to_string(step_);
  }

 private:
  unsigned seed_;
  int step_ = 0;
  std::mt19937 random_;
};

template <class Key, class Value>
struct Pair {
  using K = Key;
  using V = Value;
};

template <class P>
class MapPair : public LiveArraysTest {
 protected:
  using K = typename P::K;
  using V = typename P::V;
  using Model = ListModel<int, int>;  // of sample numbers

  static constexpr const char* kNoKey = "KVR:kvr:KEY_NOT_IN_MAP";
  static constexpr const char* kNoIndex = "KVR:kvr:INDEX_OUT_OF_BOUNDS";

  static OwnedArray key(int number) { return sampleArray<K>(number); }
  static OwnedArray value(int number) { return sampleArray<V>(number); }

  // A map made as the host call Map makes it.
  static std::unique_ptr<AbstractVrWrapperDataMap> newMap() {
    return std::unique_ptr<AbstractVrWrapperDataMap>(
        makeWrapperForKeyClass(hostClass<K>, hostClass<V>));
  }

  static bool sameAndReleased(vrArray* got, const OwnedArray& expected) {
    const OwnedArray array(got);
    return vormel::equal(array.get(), expected.get());
  }

  // Where the map and the model differ; empty if nowhere.
  static std::string difference(const AbstractVrWrapperDataMap& map, const Model& model) {
    if (map.getCount() != static_cast<int>(model.size())) return "count";
    for (int i = 0; i < map.getCount(); ++i) {
      const auto [keyNumber, valueNumber] = model[static_cast<std::size_t>(i)];
      const OwnedArray expected = sampleResult<V>(valueNumber);
      if (map.getIndexByID(key(keyNumber).get()) != i) return "index by key";
      if (!sameAndReleased(map.getIDByIndex(i), sampleResult<K>(keyNumber))) return "key by index";
      if (!sameAndReleased(map.getDataByIndex(i), expected)) return "value by index";
      if (!sameAndReleased(map.getDataByID(key(keyNumber).get()), expected)) return "value by key";
    }
    return "";
  }

  static std::string difference(const DataMap<K, V>& map, const ListModel<K, V>& model) {
    if (map.getCount() != static_cast<int>(model.size())) return "count";
    for (int i = 0; i < map.getCount(); ++i) {
      const auto& [key, value] = model[static_cast<std::size_t>(i)];
      if (map.getIndexByID(key) != i) return "index by key";
      if (map.getIDByIndex(i) != key) return "key by index";
      if (map.getDataByIndex(i) != value) return "value by index";
      if (map.getDataByID(key) != value) return "value by key";
    }
    return DataMapInspector<K, V>::brokenInvariant(map);
  }
};
TYPED_TEST_SUITE_P(MapPair);

TYPED_TEST_P(MapPair, container_random_steps_agree_with_a_list_of_pairs) {
  using K = typename TypeParam::K;
  using V = typename TypeParam::V;
  DataMap<K, V> map;
  ListModel<K, V> model;
  Steps steps(20240801);
  for (int i = 0; i < 600; ++i, steps.next()) {
    const auto key = sample<K>(steps.below(kSamples));
    const int kind = steps.below(100);
    const int index = kind < 75 ? model.find(key) : steps.below(kSamples);
    const bool present = index >= 0 && index < map.getCount();
    std::string failure;
    if (kind < 60) {
      const auto value = sample<V>(steps.below(kSamples));
      map.put(key, value);
      model.put(key, value);
    } else if (kind < 75) {
      failure = failureOf([&] { map.deleteDataByID(key); });
      const std::string expected = model.size() == 0 ? "KVR:kvr:EMPTY_MAP" : TestFixture::kNoKey;
      ASSERT_EQ(failure, present ? "" : expected) << steps.where();
      if (present) model.erase(index);
    } else if (kind < 99) {
      failure = failureOf([&] { map.deleteDataByIndex(index); });
      ASSERT_EQ(failure, present ? "" : TestFixture::kNoIndex) << steps.where();
      if (present) model.erase(index);
    } else {
      map.clear();
      model.clear();
    }
    ASSERT_EQ(TestFixture::difference(map, model), "") << steps.where();
  }
}

TYPED_TEST_P(MapPair, wrapper_random_steps_agree_with_a_list_of_pairs) {
  const auto map = TestFixture::newMap();
  typename TestFixture::Model model;
  Steps steps(20240802);
  for (int i = 0; i < 200; ++i, steps.next()) {
    const int keyNumber = steps.below(kSamples);
    const OwnedArray key = TestFixture::key(keyNumber);
    const int kind = steps.below(100);
    const int index = kind < 75 ? model.find(keyNumber) : steps.below(kSamples);
    const bool present = index >= 0 && index < map->getCount();
    ASSERT_EQ(map->isKey(key.get()), model.find(keyNumber) >= 0) << steps.where();
    if (kind < 60) {
      const int valueNumber = steps.below(kSamples);
      map->put(key.get(), TestFixture::value(valueNumber).get());
      model.put(keyNumber, valueNumber);
    } else if (kind < 75) {
      const std::string failure = failureOf([&] { map->deleteDataByID(key.get()); });
      ASSERT_EQ(failure, present ? "" : TestFixture::kNoKey) << steps.where();
      if (present) model.erase(index);
    } else {
      const std::string failure = failureOf([&] { map->deleteDataByIndex(index); });
      ASSERT_EQ(failure, present ? "" : TestFixture::kNoIndex) << steps.where();
      if (present) model.erase(index);
    }
    ASSERT_EQ(TestFixture::difference(*map, model), "") << steps.where();
  }
}

TYPED_TEST_P(MapPair, type_names_are_those_of_the_samples_classes) {
  const auto map = TestFixture::newMap();
  EXPECT_STREQ(map->getKeyType(), typeName<typename TypeParam::K>);
  EXPECT_STREQ(map->getValueType(), typeName<typename TypeParam::V>);
}

TYPED_TEST_P(MapPair, an_empty_map_knows_no_key_and_no_index) {
  const auto map = TestFixture::newMap();
  const OwnedArray key = TestFixture::key(3);
  EXPECT_EQ(map->getCount(), 0);
  EXPECT_FALSE(map->isKey(key.get()));
  expectFailure("KEY_NOT_IN_MAP", [&] { map->getDataByID(key.get()); });
  expectFailure("KEY_NOT_IN_MAP", [&] { map->getIndexByID(key.get()); });
  expectFailure("KEY_NOT_IN_MAP", [&] { map->deleteDataByID(key.get()); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->getDataByIndex(0); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->getIDByIndex(0); });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map->deleteDataByIndex(0); });
}

TYPED_TEST_P(MapPair, a_key_of_another_class_is_refused_before_the_value_is_looked_at) {
  const auto map = TestFixture::newMap();
  const OwnedArray wrong = aCell();
  for (const auto& action : std::initializer_list<std::function<void()>>{
           [&] { map->isKey(wrong.get()); }, [&] { map->put(wrong.get(), wrong.get()); },
           [&] { map->getDataByID(wrong.get()); }, [&] { map->getIndexByID(wrong.get()); },
           [&] { map->deleteDataByID(wrong.get()); }}) {
    expectFailure("TYPE_MISMATCH", "key", action);
  }
  EXPECT_EQ(map->getCount(), 0);
}

TYPED_TEST_P(MapPair, a_value_of_another_class_is_refused_by_all_but_any_maps) {
  const auto map = TestFixture::newMap();
  const OwnedArray key = TestFixture::key(3);
  const OwnedArray cell = aCell();
  if (std::is_same_v<typename TypeParam::V, vrArray*>) {
    map->put(key.get(), cell.get());
    EXPECT_EQ(map->getCount(), 1);
  } else {
    expectFailure("TYPE_MISMATCH", "value", [&] { map->put(key.get(), cell.get()); });
    EXPECT_EQ(map->getCount(), 0);
  }
}

TYPED_TEST_P(MapPair, after_clear_old_keys_are_absent_and_indices_start_again) {
  using V = typename TypeParam::V;
  DataMap<typename TypeParam::K, V> map;
  for (int i = 0; i < 3; ++i) map.put(sample<typename TypeParam::K>(i), sample<V>(i));
  map.clear();
  EXPECT_EQ(map.getCount(), 0);
  map.put(sample<typename TypeParam::K>(2), sample<V>(5));
  EXPECT_EQ(map.getIndexByID(sample<typename TypeParam::K>(2)), 0);
  EXPECT_FALSE(map.isKey(sample<typename TypeParam::K>(1)));
}

REGISTER_TYPED_TEST_SUITE_P(MapPair, container_random_steps_agree_with_a_list_of_pairs,
                            wrapper_random_steps_agree_with_a_list_of_pairs,
                            type_names_are_those_of_the_samples_classes,
                            an_empty_map_knows_no_key_and_no_index,
                            a_key_of_another_class_is_refused_before_the_value_is_looked_at,
                            a_value_of_another_class_is_refused_by_all_but_any_maps,
                            after_clear_old_keys_are_absent_and_indices_start_again);

// The 13 pairs of a key type.
template <class K>
using PairsOf =
    ::testing::Types<Pair<K, bool>, Pair<K, std::string>, Pair<K, double>, Pair<K, float>,
                     Pair<K, std::int8_t>, Pair<K, std::uint8_t>, Pair<K, std::int16_t>,
                     Pair<K, std::uint16_t>, Pair<K, std::int32_t>, Pair<K, std::uint32_t>,
                     Pair<K, std::int64_t>, Pair<K, std::uint64_t>, Pair<K, vrArray*>>;

struct PairNames {
  template <class P>
  static std::string GetName(int) {
    return std::string(typeName<typename P::K>) + "_to_" + typeName<typename P::V>;
  }
};

#define PAIR_SUITE(name, K) INSTANTIATE_TYPED_TEST_SUITE_P(name, MapPair, PairsOf<K>, PairNames)

}  // namespace kvr::test
