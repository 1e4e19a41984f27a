// What becomes of the arrays that an "any" map keeps, by the number of arrays alive.
#include <gtest/gtest.h>

#include "kvrntob/typedmap/conversion.h"
#include "tests/support/left_behind.h"
#include "tests/typedmap/map_fixture.h"

namespace kvr::test {
namespace {

class AnyMap : public LiveArraysTest {
 protected:
  // Alive from here on: its one handle array.
  OwnedArray map = anAnyMap();
  const OwnedArray key = aNumber(1);
  const OwnedArray row = aRow({1, 2, 3});

  std::size_t stored() const { return liveArrays.made() - 3; }
};

TEST_F(AnyMap, storing_keeps_one_array_of_the_maps_own) {
  insert(map, key, row);
  EXPECT_EQ(stored(), 1);
}

TEST_F(AnyMap, what_is_stored_is_the_value_at_that_moment) {
  OwnedArray value = aRow({1, 2, 3});
  insert(map, key, value);
  static_cast<double*>(vrGetData(value.get()))[0] = 9;
  const OwnedArray back = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  EXPECT_TRUE(vormel::equal(back.get(), row.get()));
}

TEST_F(AnyMap, what_was_passed_may_end_before_the_map) {
  insert(map, key, aText("soon gone"));
  const OwnedArray back = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  EXPECT_TRUE(vormel::equal(back.get(), aText("soon gone").get()));
}

TEST_F(AnyMap, replacing_releases_the_old_value) {
  insert(map, key, row);
  insert(map, key, aText("other"));
  EXPECT_EQ(stored(), 1);
}

TEST_F(AnyMap, replacing_a_value_by_itself_keeps_one) {
  insert(map, key, row);
  insert(map, key, row);
  EXPECT_EQ(stored(), 1);
  const OwnedArray back = execute("getDataByIndex", 1, {cell(map), cell(1)}).array();
  EXPECT_TRUE(vormel::equal(back.get(), row.get()));
}

TEST_F(AnyMap, reading_gives_a_new_array_that_shares_the_data_and_keeps_the_stored_one) {
  insert(map, key, row);
  const OwnedArray first = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  const OwnedArray second = execute("getDataByIndex", 1, {cell(map), cell(1)}).array();
  EXPECT_EQ(stored(), 3);
  const vrArray* readOnly = first.get();
  EXPECT_EQ(vrGetData(readOnly), vrGetData(static_cast<const vrArray*>(second.get())));
  EXPECT_FALSE(vormel::isInternalForm(first.get()));
}

TEST_F(AnyMap, writing_what_was_read_leaves_the_stored_value) {
  insert(map, key, row);
  const OwnedArray read = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  static_cast<double*>(vrGetData(read.get()))[0] = 9;
  const OwnedArray again = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  EXPECT_TRUE(vormel::equal(again.get(), row.get()));
}

TEST_F(AnyMap, deleting_by_key_releases_the_value) {
  insert(map, key, row);
  execute("deleteDataByKey", 0, {cell(map), cell(key)});
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, deleting_by_index_releases_the_value) {
  insert(map, aNumber(2), row);
  insert(map, key, row);
  execute("deleteDataByIndex", 0, {cell(map), cell(1)});
  EXPECT_EQ(stored(), 1);
  EXPECT_EQ(execute("getIndexByKey", 1, {cell(map), cell(key)}).outputs[0].word, 1);
}

TEST_F(AnyMap, destroying_the_map_releases_all_values) {
  for (int i = 0; i < 10; ++i) insert(map, aNumber(i), aStruct({"a", "b"}));
  map.reset();
  EXPECT_EQ(liveArrays.made(), 2);
}

TEST_F(AnyMap, ending_the_object_releases_all_values) {
  for (int i = 0; i < 10; ++i) insert(map, aNumber(i), row);
  vormel::endObject(map.get());
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, clear_leaves_the_values_behind) {
  const LeftBehind values;
  for (int i = 0; i < 3; ++i) insert(map, aNumber(i), row);
  execute("Clear", 0, {cell(map)});
  map.reset();
  EXPECT_EQ(liveArrays.made(), 2 + 3);
  liveArrays.allow(3);
}

TEST_F(AnyMap, failed_calls_keep_nothing) {
  insert(map, key, row);
  expectFailure("TYPE_MISMATCH", "key", [&] { insert(map, aCell(), row); });
  expectFailure("KEY_NOT_IN_MAP", [&] {
    execute("deleteDataByKey", 0, {cell(map), cell(aNumber(9))});
  });
  expectFailure("INDEX_OUT_OF_BOUNDS", [&] {
    execute("deleteDataByIndex", 0, {cell(map), cell(2)});
  });
  EXPECT_EQ(stored(), 1);
}

TEST_F(AnyMap, empty_arrays_of_every_class_are_values) {
  insert(map, aNumber(1), anEmpty());
  insert(map, aNumber(2), aText(""));
  insert(map, aNumber(3), aCell({0, 0}));
  insert(map, aNumber(4), aStruct({}, {0, 0}));
  EXPECT_EQ(countOf(map), 4);
  EXPECT_EQ(stored(), 4);
}

// ---- Handles as values ----

TEST_F(AnyMap, a_handle_is_kept_as_a_shared_copy_and_anything_else_in_internal_form) {
  const OwnedArray handle = anInstance();
  const AnyValue keptHandle = AnyValue::store(handle.get());
  const AnyValue keptRow = AnyValue::store(row.get());
  const OwnedArray opaque = owned(vormel::makeOpaque("other"));
  const AnyValue keptOpaque = AnyValue::store(opaque.get());
  const OwnedArray nameless = owned(vormel::makeOpaque(nullptr));
  const AnyValue keptNameless = AnyValue::store(nameless.get());
  EXPECT_FALSE(vormel::isInternalForm(keptHandle.get()));
  EXPECT_TRUE(vormel::isInternalForm(keptRow.get()));
  EXPECT_TRUE(vormel::isInternalForm(keptOpaque.get()));
  EXPECT_TRUE(vormel::isInternalForm(keptNameless.get()));
}

TEST_F(AnyMap, a_stored_handle_keeps_its_object_alive) {
  OwnedArray inner = aNumberMap();
  insert(inner, key, key);
  insert(map, key, inner);
  inner.reset();
  const OwnedArray back = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  EXPECT_EQ(countOf(back), 1);
}

TEST_F(AnyMap, a_dead_handle_is_a_value_and_comes_back_dead) {
  const OwnedArray inner = aNumberMap();
  vormel::endObject(inner.get());
  insert(map, key, inner);
  const OwnedArray back = execute("getDataByKey", 1, {cell(map), cell(key)}).array();
  expectHostError("DeadObject", [&] { countOf(back); });
}

TEST_F(AnyMap, maps_within_maps_end_together) {
  OwnedArray inner = anAnyMap();
  for (int depth = 0; depth < 1000; ++depth) {
    OwnedArray outer = anAnyMap();
    insert(outer, key, inner);
    insert(outer, aNumber(2), row);
    inner = std::move(outer);
  }
  insert(map, key, inner);
  inner.reset();
  execute("deleteDataByKey", 0, {cell(map), cell(key)});
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, a_map_that_holds_its_own_handle_lives_until_it_is_ended) {
  OwnedArray self = anAnyMap();
  insert(self, key, self);
  insert(self, aNumber(2), row);
  const vrArray* handle = self.get();
  EXPECT_EQ(countOf(self), 2);
  vormel::endObject(handle);
  self.reset();
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, a_map_that_deletes_its_own_handle_goes_on) {
  insert(map, key, map);
  execute("deleteDataByKey", 0, {cell(map), cell(key)});
  EXPECT_EQ(countOf(map), 0);
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, a_map_whose_last_handle_was_its_own_ends_when_it_is_replaced) {
  insert(map, key, map);
  construct(map, aNumber(1), aNumber(1));
  EXPECT_EQ(typesOf(map), "double/double");
  EXPECT_EQ(stored(), 0);
}

TEST_F(AnyMap, two_maps_that_hold_each_other_end_when_one_is_ended) {
  OwnedArray first = anAnyMap();
  OwnedArray second = anAnyMap();
  insert(first, key, second);
  insert(second, key, first);
  second.reset();
  vormel::endObject(first.get());
  first.reset();
  EXPECT_EQ(stored(), 0);
}

}  // namespace
}  // namespace kvr::test
