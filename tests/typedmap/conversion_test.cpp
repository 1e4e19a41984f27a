// What each type takes as a key and as a value, and what it gives back.
#include "kvrntob/typedmap/conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "kvrntob/typedmap/abstract_wrapper.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/faults.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kScalarClasses[] = {3, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr int kNumericKeyClasses[] = {6, 7, 12, 13, 14, 15};

using Map = std::unique_ptr<AbstractVrWrapperDataMap>;
Map aMap(int keyClass, int valueClass) { return Map(makeWrapperForKeyClass(keyClass, valueClass)); }

// Every key operation of the map.
std::vector<std::function<void()>> keyOperations(AbstractVrWrapperDataMap& map,
                                                 const vrArray* key) {
  return {[&map, key] { map.isKey(key); }, [&map, key] { map.put(key, key); },
          [&map, key] { OwnedArray(map.getDataByID(key)); }, [&map, key] { map.getIndexByID(key); },
          [&map, key] { map.deleteDataByID(key); }};
}

void expectNoKey(AbstractVrWrapperDataMap& map, const OwnedArray& key) {
  for (const auto& operation : keyOperations(map, key.get())) {
    expectFailure("TYPE_MISMATCH", "key", operation);
  }
}

// Arrays that are no real scalar: of every shape, and of every class that has no numbers.
std::vector<OwnedArray> noScalars() {
  std::vector<OwnedArray> arrays;
  arrays.push_back(anEmpty());
  arrays.push_back(aNumeric(vrDOUBLE_CLASS, {1, 0}));
  arrays.push_back(aRow({1, 2}));
  arrays.push_back(aColumn({1, 2}));
  arrays.push_back(aNumeric(vrINT8_CLASS, {2, 2, 2}));
  arrays.push_back(aNumeric(vrLOGICAL_CLASS, {1, 2}));
  arrays.push_back(aComplex(vrDOUBLE_CLASS, {1, 1}));
  arrays.push_back(aComplex(vrINT32_CLASS, {1, 1}));
  arrays.push_back(aText("x"));
  arrays.push_back(aCell());
  arrays.push_back(aStruct({"a"}));
  arrays.push_back(anObject("thing"));
  arrays.push_back(owned(vormel::makeFunctionHandle("sin")));
  arrays.push_back(owned(vormel::makeOpaque(nullptr)));
  return arrays;
}

class Conversion : public LiveArraysTest {};

// ---- Keys ----

TEST_F(Conversion, numeric_keys_refuse_what_is_no_real_scalar_at_every_operation) {
  for (const int keyClass : kNumericKeyClasses) {
    const Map map = aMap(keyClass, vrCELL_CLASS);
    for (const OwnedArray& array : noScalars()) expectNoKey(*map, array);
    EXPECT_EQ(map->getCount(), 0);
  }
}

TEST_F(Conversion, numeric_keys_take_a_scalar_of_every_numeric_class_and_logical) {
  for (const int keyClass : kNumericKeyClasses) {
    const Map map = aMap(keyClass, vrDOUBLE_CLASS);
    const OwnedArray one = aTruth(true);
    map->put(one.get(), one.get());
    for (const int givenClass : kScalarClasses) {
      const OwnedArray zero = aNumeric(givenClass, {1, 1});
      EXPECT_FALSE(map->isKey(zero.get())) << givenClass;
    }
    EXPECT_TRUE(map->isKey(aNumber(1).get()));
  }
}

TEST_F(Conversion, floating_point_keys_refuse_nan_at_every_operation) {
  for (const int keyClass : {vrDOUBLE_CLASS, vrSINGLE_CLASS}) {
    const Map map = aMap(keyClass, vrDOUBLE_CLASS);
    expectNoKey(*map, aNumber(kNaN));
    expectNoKey(*map, aScalar<float>(vrSINGLE_CLASS, std::numeric_limits<float>::quiet_NaN()));
    EXPECT_EQ(map->getCount(), 0);
  }
}

TEST_F(Conversion, integer_keys_take_nan_for_zero) {
  for (const int keyClass : {12, 13, 14, 15}) {
    const Map map = aMap(keyClass, vrDOUBLE_CLASS);
    EXPECT_FALSE(map->isKey(aNumber(kNaN).get()));
    map->put(aNumber(0).get(), aNumber(7).get());
    EXPECT_TRUE(map->isKey(aNumber(kNaN).get()));
    EXPECT_EQ(map->getIndexByID(aNumber(kNaN).get()), 0);
  }
}

TEST_F(Conversion, infinite_floating_point_keys_are_ordinary_keys) {
  const Map map = aMap(vrDOUBLE_CLASS, vrDOUBLE_CLASS);
  map->put(aNumber(kInfinity).get(), aNumber(1).get());
  map->put(aNumber(-kInfinity).get(), aNumber(2).get());
  EXPECT_EQ(map->getIndexByID(aNumber(-kInfinity).get()), 1);
}

TEST_F(Conversion, single_keys_beyond_the_range_of_single_are_infinite) {
  const Map map = aMap(vrSINGLE_CLASS, vrDOUBLE_CLASS);
  map->put(aNumber(1e300).get(), aNumber(1).get());
  EXPECT_TRUE(map->isKey(aNumber(kInfinity).get()));
  EXPECT_FALSE(map->isKey(aNumber(-1e300).get()));
}

TEST_F(Conversion, single_keys_that_narrow_to_one_number_are_one_key) {
  const Map map = aMap(vrSINGLE_CLASS, vrDOUBLE_CLASS);
  map->put(aNumber(0.1).get(), aNumber(1).get());
  map->put(aNumber(0.1 + 1e-12).get(), aNumber(2).get());
  EXPECT_EQ(map->getCount(), 1);
}

TEST_F(Conversion, wide_integer_keys_travel_through_a_double) {
  const Map map = aMap(vrINT64_CLASS, vrDOUBLE_CLASS);
  constexpr std::int64_t twoTo53 = 9007199254740992;
  map->put(aScalar<std::int64_t>(vrINT64_CLASS, twoTo53 + 1).get(), aNumber(1).get());
  EXPECT_TRUE(map->isKey(aScalar<std::int64_t>(vrINT64_CLASS, twoTo53).get()));
}

TEST_F(Conversion, keys_that_saturate_to_one_number_are_one_key) {
  const Map map = aMap(vrUINT32_CLASS, vrDOUBLE_CLASS);
  map->put(aNumber(4294967295.0).get(), aNumber(1).get());
  map->put(aNumber(kInfinity).get(), aNumber(2).get());
  map->put(aNumber(4294967294.5).get(), aNumber(3).get());
  EXPECT_EQ(map->getCount(), 1);
}

TEST_F(Conversion, char_keys_refuse_all_but_character_arrays_at_every_operation) {
  const Map map = aMap(vrCHAR_CLASS, vrCELL_CLASS);
  expectNoKey(*map, aNumber(1));
  expectNoKey(*map, aTruth(true));
  expectNoKey(*map, aCell());
  expectNoKey(*map, aStruct({"a"}));
  EXPECT_EQ(map->getCount(), 0);
}

OwnedArray units(const std::vector<std::size_t>& dimensions,
                 const std::vector<std::uint16_t>& characters) {
  return filled(someCharacters(dimensions), characters);
}

TEST_F(Conversion, char_keys_of_any_shape_are_their_characters_in_storage_order) {
  const Map map = aMap(vrCHAR_CLASS, vrDOUBLE_CLASS);
  map->put(units({2, 3}, {'a', 'd', 'b', 'e', 'c', 'f'}).get(), aNumber(1).get());
  EXPECT_TRUE(map->isKey(units({1, 6}, {'a', 'd', 'b', 'e', 'c', 'f'}).get()));
  EXPECT_FALSE(map->isKey(units({1, 5}, {'a', 'd', 'b', 'e', 'c'}).get()));
  const OwnedArray key(map->getIDByIndex(0));
  EXPECT_TRUE(vormel::equal(key.get(), aText("adbecf").get()));
}

TEST_F(Conversion, char_keys_with_nul_characters_are_kept_whole) {
  const Map map = aMap(vrCHAR_CLASS, vrDOUBLE_CLASS);
  map->put(units({1, 3}, {'a', 0, 'b'}).get(), aNumber(1).get());
  EXPECT_FALSE(map->isKey(units({1, 1}, {'a'}).get()));
  EXPECT_FALSE(map->isKey(units({1, 3}, {'a', 0, 'c'}).get()));
  EXPECT_TRUE(map->isKey(units({1, 3}, {'a', 0, 'b'}).get()));
}

TEST_F(Conversion, empty_char_keys_of_every_shape_are_one_key) {
  const Map map = aMap(vrCHAR_CLASS, vrDOUBLE_CLASS);
  map->put(someCharacters({0, 0}).get(), aNumber(1).get());
  EXPECT_TRUE(map->isKey(someCharacters({3, 0}).get()));
  const OwnedArray key(map->getIDByIndex(0));
  EXPECT_TRUE(vormel::equal(key.get(), someCharacters({1, 0}).get()));
}

TEST_F(Conversion, keys_of_folded_classes_come_back_as_doubles) {
  for (const int keyClass : {3, 8, 9, 10, 11}) {
    const Map map = aMap(keyClass, vrDOUBLE_CLASS);
    const OwnedArray key = aScalar<std::int8_t>(vrINT8_CLASS, 5);
    map->put(key.get(), key.get());
    const OwnedArray back(map->getIDByIndex(0));
    EXPECT_TRUE(vormel::equal(back.get(), aNumber(5).get())) << keyClass;
  }
}

TEST_F(Conversion, positive_and_negative_zero_are_one_key_and_the_first_stays) {
  const Map map = aMap(vrDOUBLE_CLASS, vrDOUBLE_CLASS);
  map->put(aNumber(-0.0).get(), aNumber(1).get());
  map->put(aNumber(0.0).get(), aNumber(2).get());
  EXPECT_EQ(map->getCount(), 1);
  const OwnedArray key(map->getIDByIndex(0));
  EXPECT_TRUE(std::signbit(vrGetScalar(key.get())));
}

// ---- Values ----

// What a map gives back for a value that was put.
OwnedArray stored(int valueClass, const OwnedArray& value) {
  const Map map = aMap(vrDOUBLE_CLASS, valueClass);
  map->put(aNumber(1).get(), value.get());
  return OwnedArray(map->getDataByIndex(0));
}

void expectStored(int valueClass, const OwnedArray& value, const OwnedArray& expected) {
  EXPECT_TRUE(vormel::equal(stored(valueClass, value).get(), expected.get())) << valueClass;
}

TEST_F(Conversion, numeric_values_refuse_what_is_no_real_scalar) {
  for (const int valueClass : kScalarClasses) {
    const Map map = aMap(vrDOUBLE_CLASS, valueClass);
    for (const OwnedArray& array : noScalars()) {
      expectFailure("TYPE_MISMATCH", "value", [&] { map->put(aNumber(1).get(), array.get()); });
    }
    EXPECT_EQ(map->getCount(), 0);
  }
}

TEST_F(Conversion, numeric_values_take_a_scalar_of_every_numeric_class_and_logical) {
  for (const int valueClass : kScalarClasses) {
    for (const int givenClass : kScalarClasses) {
      expectStored(valueClass, aNumeric(givenClass, {1, 1}), aNumeric(valueClass, {1, 1}));
    }
  }
}

TEST_F(Conversion, a_bad_value_leaves_the_entry_of_a_good_key_as_it_was) {
  const Map map = aMap(vrDOUBLE_CLASS, vrUINT8_CLASS);
  map->put(aNumber(1).get(), aNumber(7).get());
  expectFailure("TYPE_MISMATCH", "value", [&] { map->put(aNumber(1).get(), anEmpty().get()); });
  const OwnedArray value(map->getDataByIndex(0));
  EXPECT_TRUE(vormel::equal(value.get(), aScalar<std::uint8_t>(vrUINT8_CLASS, 7).get()));
}

TEST_F(Conversion, uint8_values_saturate_and_round) {
  const auto byte = [](std::uint8_t value) { return aScalar(vrUINT8_CLASS, value); };
  expectStored(vrUINT8_CLASS, aNumber(300.7), byte(255));
  expectStored(vrUINT8_CLASS, aNumber(-3), byte(0));
  expectStored(vrUINT8_CLASS, aNumber(100.5), byte(101));
  expectStored(vrUINT8_CLASS, aNumber(kNaN), byte(0));
}

TEST_F(Conversion, integer_values_of_every_class_keep_their_limits) {
  expectStored(8, aScalar<std::int8_t>(8, -128), aScalar<std::int8_t>(8, -128));
  expectStored(10, aScalar<std::int16_t>(10, -32768), aScalar<std::int16_t>(10, -32768));
  expectStored(11, aNumber(1e9), aScalar<std::uint16_t>(11, 65535));
  expectStored(12, aNumber(-1e10), aScalar<std::int32_t>(12, -2147483647 - 1));
  expectStored(13, aNumber(1e10), aScalar<std::uint32_t>(13, 4294967295U));
  expectStored(14, aNumber(-1e30), aScalar(14, std::numeric_limits<std::int64_t>::min()));
  expectStored(15, aNumber(1e30), aScalar(15, std::numeric_limits<std::uint64_t>::max()));
}

TEST_F(Conversion, keys_of_the_integer_types_keep_their_lowest_number) {
  const auto expectKept = [](int keyClass, const OwnedArray& key) {
    const Map map = aMap(keyClass, vrDOUBLE_CLASS);
    map->put(key.get(), aNumber(1).get());
    EXPECT_TRUE(vormel::equal(OwnedArray(map->getIDByIndex(0)).get(), key.get())) << keyClass;
  };
  expectKept(12, aScalar(12, std::numeric_limits<std::int32_t>::min()));
  expectKept(13, aScalar(13, std::uint32_t{0}));
  expectKept(14, aScalar(14, std::numeric_limits<std::int64_t>::min()));
  expectKept(15, aScalar(15, std::uint64_t{0}));
}

TEST_F(Conversion, number_for_which_the_host_has_no_memory_is_null) {
  const Map map = aMap(vrDOUBLE_CLASS, vrINT8_CLASS);
  const OwnedArray number = aNumber(1);
  map->put(number.get(), number.get());
  const FaultPlan first(FaultSite::Memory, 1);
  EXPECT_EQ(map->getDataByIndex(0), nullptr);
}

TEST_F(Conversion, wide_integer_values_lose_their_low_bits) {
  constexpr std::uint64_t twoTo53 = 9007199254740992;
  expectStored(vrUINT64_CLASS, aScalar<std::uint64_t>(vrUINT64_CLASS, twoTo53 + 1),
               aScalar<std::uint64_t>(vrUINT64_CLASS, twoTo53));
}

TEST_F(Conversion, floating_point_values_keep_nan) {
  EXPECT_TRUE(std::isnan(vrGetScalar(stored(vrDOUBLE_CLASS, aNumber(kNaN)).get())));
  EXPECT_TRUE(std::isnan(vrGetScalar(stored(vrSINGLE_CLASS, aNumber(kNaN)).get())));
}

TEST_F(Conversion, single_values_beyond_the_range_of_single_are_infinite) {
  constexpr float infinite = std::numeric_limits<float>::infinity();
  expectStored(vrSINGLE_CLASS, aNumber(1e300), aScalar<float>(vrSINGLE_CLASS, infinite));
  expectStored(vrSINGLE_CLASS, aNumber(-1e300), aScalar<float>(vrSINGLE_CLASS, -infinite));
}

TEST_F(Conversion, logical_values_are_whether_the_integer_read_is_not_zero) {
  for (const double number : {1.0, 2.0, -1.0, 1e300, kInfinity, kNaN}) {
    expectStored(vrLOGICAL_CLASS, aNumber(number), aTruth(true));
  }
  for (const double number : {0.0, -0.0, 0.5, -0.9}) {
    expectStored(vrLOGICAL_CLASS, aNumber(number), aTruth(false));
  }
}

TEST_F(Conversion, char_values_refuse_all_but_character_arrays) {
  const Map map = aMap(vrDOUBLE_CLASS, vrCHAR_CLASS);
  expectFailure("TYPE_MISMATCH", "value", [&] { map->put(aNumber(1).get(), aNumber(1).get()); });
  expectFailure("TYPE_MISMATCH", "value", [&] { map->put(aNumber(1).get(), aCell().get()); });
  EXPECT_EQ(map->getCount(), 0);
}

TEST_F(Conversion, char_values_come_back_as_rows_in_storage_order) {
  expectStored(vrCHAR_CLASS, units({2, 3}, {1, 0, 2, 0xd800, 3, 0xffff}),
               units({1, 6}, {1, 0, 2, 0xd800, 3, 0xffff}));
  expectStored(vrCHAR_CLASS, aText(""), someCharacters({1, 0}));
  expectStored(vrCHAR_CLASS, aText("x"), aText("x"));
}

TEST_F(Conversion, any_values_are_whatever_was_given) {
  for (const OwnedArray& array : noScalars()) expectStored(vrCELL_CLASS, array, array);
}

}  // namespace
}  // namespace kvr::test
