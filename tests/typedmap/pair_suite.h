// The container's tests that every pair of a key type and a value type passes. Instantiated by key
// type, one source each, so that they build side by side: PAIR_SUITE(double_keys, double).
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "kvrntob/typedmap/data_map.h"
#include "tests/typedmap/data_map_inspector.h"
#include "tests/typedmap/list_model.h"
#include "tests/typedmap/random_steps.h"
#include "tests/typedmap/samples.h"

namespace kvr::test {

template <class Key, class Value>
struct Pair {
  using K = Key;
  using V = Value;
};

template <class P>
class MapPair : public ::testing::Test {
 protected:
  using K = typename P::K;
  using V = typename P::V;

  DataMap<K, V> map;
  ListModel<K, V> model;

  // Where the map and the model differ; empty if nowhere.
  std::string difference() const {
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

  void put(const K& key, const V& value) {
    map.put(key, value);
    model.put(key, value);
  }

  // What deleting failed with, and what it should have.
  using Outcome = std::pair<std::string, std::string>;

  Outcome deleteByKey(const K& key) {
    const int index = model.find(key);
    const std::string expected = model.size() == 0 ? "EMPTY_MAP"
                                 : index < 0       ? "KEY_NOT_IN_MAP"
                                                   : "";
    const std::string failure = failureOf([&] { map.deleteDataByID(key); });
    if (index >= 0) model.erase(index);
    return {failure, expected};
  }

  Outcome deleteByIndex(int index) {
    const bool present = index < static_cast<int>(model.size());
    const std::string failure = failureOf([&] { map.deleteDataByIndex(index); });
    if (present) model.erase(index);
    return {failure, present ? "" : "INDEX_OUT_OF_BOUNDS"};
  }
};
TYPED_TEST_SUITE_P(MapPair);

TYPED_TEST_P(MapPair, random_steps_agree_with_a_list_of_pairs) {
  using K = typename TypeParam::K;
  RandomSteps steps(20240801);
  for (int i = 0; i < 600; ++i, steps.next()) {
    const auto key = sample<K>(steps.below(kSamples));
    const int kind = steps.below(100);
    typename TestFixture::Outcome outcome;
    if (kind < 60) {
      this->put(key, sample<typename TypeParam::V>(steps.below(kSamples)));
    } else if (kind < 75) {
      outcome = this->deleteByKey(key);
    } else if (kind < 99) {
      outcome = this->deleteByIndex(steps.below(kSamples));
    } else {
      this->map.clear();
      this->model.clear();
    }
    ASSERT_EQ(outcome.first, outcome.second) << steps.where();
    ASSERT_EQ(this->difference(), "") << steps.where();
  }
}

TYPED_TEST_P(MapPair, after_clear_old_keys_are_absent_and_indices_start_again) {
  using K = typename TypeParam::K;
  for (int i = 0; i < 3; ++i) this->map.put(sample<K>(i), sample<typename TypeParam::V>(i));
  this->map.clear();
  EXPECT_EQ(this->map.getCount(), 0);
  this->map.put(sample<K>(2), sample<typename TypeParam::V>(5));
  EXPECT_EQ(this->map.getIndexByID(sample<K>(2)), 0);
  EXPECT_FALSE(this->map.isKey(sample<K>(1)));
}

REGISTER_TYPED_TEST_SUITE_P(MapPair, random_steps_agree_with_a_list_of_pairs,
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
