// How two samples choose the types of a map, what they are refused for, and the native object.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "kvrntob/typedmap/abstract_wrapper.h"
#include "kvrntob/typedmap/map_object.h"
#include "tests/typedmap/map_fixture.h"

namespace kvr::test {
namespace {

class MapConstruction : public LiveArraysTest {
 protected:
  void SetUp() override { mapClass(); }
};

struct ClassRow {
  int classID;
  const char* keyType;
  const char* valueType;
};
constexpr ClassRow kClasses[] = {
    {3, "double", "logical"}, {6, "double", "double"},  {7, "single", "single"},
    {8, "double", "int8"},    {9, "double", "uint8"},   {10, "double", "int16"},
    {11, "double", "uint16"}, {12, "int32", "int32"},   {13, "uint32", "uint32"},
    {14, "int64", "int64"},   {15, "uint64", "uint64"},
};

TEST_F(MapConstruction, an_instance_is_a_map_of_characters_before_its_constructor_has_run) {
  const OwnedArray map = anInstance();
  EXPECT_EQ(typesOf(map), "char/char");
  EXPECT_EQ(countOf(map), 0);
  insert(map, aText("key"), aText("value"));
  EXPECT_EQ(countOf(map), 1);
}

TEST_F(MapConstruction, the_class_of_a_key_sample_gives_the_key_type) {
  for (const ClassRow& row : kClasses) {
    const OwnedArray map = aMapLike(aNumeric(row.classID, {1, 1}), aNumber(1));
    EXPECT_EQ(typesOf(map), std::string(row.keyType) + "/double") << row.classID;
  }
  EXPECT_EQ(typesOf(aMapLike(aText("k"), aNumber(1))), "char/double");
}

TEST_F(MapConstruction, the_class_of_a_scalar_value_sample_gives_the_value_type) {
  for (const ClassRow& row : kClasses) {
    const OwnedArray map = aMapLike(aNumber(1), aNumeric(row.classID, {1, 1}));
    EXPECT_EQ(typesOf(map), std::string("double/") + row.valueType) << row.classID;
  }
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), aText("v"))), "double/char");
}

TEST_F(MapConstruction, a_scalar_value_sample_of_any_other_class_gives_any) {
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), aCell())), "double/any");
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), aStruct({"a"}))), "double/any");
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), anObject("thing"))), "double/any");
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), anInstance())), "double/any");
  EXPECT_EQ(typesOf(aMapLike(aNumber(1), owned(vormel::makeFunctionHandle("sin")))), "double/any");
}

TEST_F(MapConstruction, a_value_sample_that_is_no_scalar_gives_any) {
  EXPECT_EQ(typesOf(aMapLike(aText("k"), aText("abc"))), "char/any");
  EXPECT_EQ(typesOf(aMapLike(aText("k"), aRow({1, 2}))), "char/any");
  EXPECT_EQ(typesOf(aMapLike(aText("k"), aNumeric(vrINT8_CLASS, {2, 2}))), "char/any");
}

TEST_F(MapConstruction, class_numbers_outside_the_tables_are_refused_as_keys_and_any_as_values) {
  for (const int classID : {-1, 0, 1, 2, 5, 16, 17, 18, 1000}) {
    expectFailure("UNSUPPORTED_KEY", [&] { makeWrapperForKeyClass(classID, vrDOUBLE_CLASS); });
    const std::unique_ptr<AbstractVrWrapperDataMap> map(makeWrapperForKeyClass(6, classID));
    EXPECT_STREQ(map->getValueType(), "any") << classID;
  }
}

TEST_F(MapConstruction, a_complex_or_nan_key_sample_gives_a_map_that_refuses_it_later) {
  EXPECT_EQ(typesOf(aMapLike(aComplex(vrSINGLE_CLASS, {1, 1}), aNumber(1))), "single/double");
  const OwnedArray nan = aNumber(std::numeric_limits<double>::quiet_NaN());
  const OwnedArray map = aMapLike(nan, aNumber(1));
  EXPECT_EQ(typesOf(map), "double/double");
  expectFailure("TYPE_MISMATCH", "key", [&] { insert(map, nan, aNumber(1)); });
}

TEST_F(MapConstruction, the_samples_are_not_entered) {
  const OwnedArray map = aMapLike(aText("k"), aNumber(1));
  EXPECT_EQ(countOf(map), 0);
  insert(map, aText("longer key"), aNumber(1));
  EXPECT_EQ(execute("getIndexByKey", 1, {cell(map), cell(aText("longer key"))}).outputs[0].word, 1);
}

struct FailureRow {
  const char* failure;
  std::function<OwnedArray()> key;
  std::function<OwnedArray()> value;
};

const std::vector<FailureRow>& failures() {
  static const auto scalar = [] { return aNumber(1); };
  static const auto noScalar = [] { return aRow({1, 2}); };
  static const auto nothing = [] { return anEmpty(); };
  static const auto structure = [] { return aStruct({"a"}); };
  static const std::vector<FailureRow> rows = {
      {"EMPTY_KEY", nothing, scalar},
      {"EMPTY_KEY", nothing, nothing},
      {"EMPTY_KEY", [] { return aText(""); }, scalar},
      {"EMPTY_KEY",
       [] {
         return aCell({0, 1});
       },
       nothing},
      {"ARRAY_KEYS_NOT_ALLOWED", noScalar, scalar},
      {"ARRAY_KEYS_NOT_ALLOWED", noScalar, nothing},
      {"ARRAY_KEYS_NOT_ALLOWED", [] { return aText("abc"); }, scalar},
      {"ARRAY_KEYS_NOT_ALLOWED",
       [] {
         return aCell({1, 2});
       },
       scalar},
      {"KEY_NEEDS_VALUE", scalar, nothing},
      {"KEY_NEEDS_VALUE", structure, nothing},
      {"KEY_NEEDS_VALUE", scalar, [] { return aText(""); }},
      {"UNSUPPORTED_KEY", structure, scalar},
      {"UNSUPPORTED_KEY", [] { return aCell(); }, scalar},
      {"UNSUPPORTED_KEY", [] { return anObject("thing"); }, scalar},
      {"UNSUPPORTED_KEY", [] { return owned(vormel::makeFunctionHandle("sin")); }, scalar},
      {"UNSUPPORTED_KEY", [] { return anInstance(); }, scalar},
  };
  return rows;
}

TEST_F(MapConstruction, a_refused_sample_fails_with_the_earliest_reason_and_the_map_stays) {
  for (const FailureRow& row : failures()) {
    const OwnedArray map = aNumberMap();
    insert(map, aNumber(1), aNumber(2));
    expectFailure(row.failure, [&] { construct(map, row.key(), row.value()); });
    EXPECT_EQ(typesOf(map), "double/double");
    EXPECT_EQ(countOf(map), 1);
  }
}

TEST_F(MapConstruction, constructing_again_replaces_the_map_and_releases_its_values) {
  const OwnedArray map = anAnyMap();
  insert(map, aNumber(1), aRow({1, 2, 3}));
  construct(map, aText("k"), aTruth(true));
  EXPECT_EQ(typesOf(map), "char/logical");
  EXPECT_EQ(liveArrays.made(), 1);
}

TEST_F(MapConstruction, the_constructor_writes_no_cell_and_leaves_the_output_count) {
  const OwnedArray map = anInstance();
  ntob::ArgumentCell outputs[] = {cell(map), ntob::ArgumentCell{Executed::kUnwritten}};
  const OwnedArray sample = aNumber(1);
  ntob::ArgumentCell inputs[] = {cell(sample), cell(sample)};
  for (std::int32_t count : {0, 1, 2}) {
    const std::int32_t before = count;
    mapClass().constructor()->descriptor().execute(nullptr, &count, outputs, 2, inputs);
    EXPECT_EQ(count, before);
  }
  EXPECT_EQ(outputs[0].array, map.get());
  EXPECT_EQ(outputs[1].word, Executed::kUnwritten);
}

TEST_F(MapConstruction, destroying_no_native_object_does_nothing) {
  mapClass().descriptor().destroyNativeInstance(nullptr);
}

TEST_F(MapConstruction, two_instances_are_two_maps) {
  const OwnedArray first = aNumberMap();
  const OwnedArray second = aNumberMap();
  insert(first, aNumber(1), aNumber(1));
  EXPECT_EQ(countOf(first), 1);
  EXPECT_EQ(countOf(second), 0);
}

}  // namespace
}  // namespace kvr::test
