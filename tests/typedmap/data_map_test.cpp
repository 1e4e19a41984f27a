#include "kvrntob/typedmap/data_map.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kvrntob/host/libvr.h"
#include "tests/support/failure_matchers.h"
#include "tests/typedmap/data_map_inspector.h"

namespace kvr::test {
namespace {

using Numbers = DataMap<std::int32_t, double>;
using Texts = DataMap<std::string, std::string>;

// The keys, in the order of their indices, as text.
template <class V>
std::string keysOf(const DataMap<std::string, V>& map) {
  std::string keys;
  for (std::int32_t i = 0; i < map.getCount(); ++i) keys += map.getIDByIndex(i);
  return keys;
}

void putAll(Texts& map, const std::string& letters) {
  for (const char letter : letters) map.put(std::string(1, letter), std::string(2, letter));
}

template <class K, class V>
void expectInvariants(const DataMap<K, V>& map) {
  EXPECT_EQ((DataMapInspector<K, V>::brokenInvariant(map)), "");
}

TEST(DataMap, a_new_map_has_nothing_and_fails_for_every_key_and_index) {
  Numbers map;
  EXPECT_EQ(map.getCount(), 0);
  EXPECT_FALSE(map.isKey(0));
  expectFailure("KEY_NOT_IN_MAP", [&] { map.getDataByID(0); });
  expectFailure("KEY_NOT_IN_MAP", [&] { map.getIndexByID(0); });
  expectFailure("EMPTY_MAP", [&] { map.deleteDataByID(0); });
  for (const std::int32_t index : {0, 1, -1, 2147483647, -2147483647 - 1}) {
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map.getDataByIndex(index); });
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map.getIDByIndex(index); });
    expectFailure("INDEX_OUT_OF_BOUNDS", [&] { map.deleteDataByIndex(index); });
  }
}

TEST(DataMap, keys_have_indices_in_the_order_in_which_they_came) {
  Texts map;
  putAll(map, "CAB");
  EXPECT_EQ(keysOf(map), "CAB");
  EXPECT_EQ(map.getIndexByID("C"), 0);
  EXPECT_EQ(map.getIndexByID("B"), 2);
  EXPECT_EQ(map.getDataByID("A"), "AA");
  EXPECT_EQ(map.getDataByIndex(1), "AA");
}

TEST(DataMap, deleting_moves_later_entries_down_and_a_key_that_returns_is_the_last) {
  Texts map;
  putAll(map, "ABC");
  map.deleteDataByID("B");
  EXPECT_EQ(keysOf(map), "AC");
  EXPECT_EQ(map.getIndexByID("C"), 1);
  map.put("B", "b");
  EXPECT_EQ(map.getIndexByID("B"), 2);
  expectInvariants(map);
}

TEST(DataMap, deleting_at_every_position_keeps_the_order_of_the_others) {
  for (std::int32_t gap = 0; gap < 26; ++gap) {
    std::string letters = "abcdefghijklmnopqrstuvwxyz";
    Texts map;
    putAll(map, letters);
    map.deleteDataByIndex(gap);
    letters.erase(static_cast<std::size_t>(gap), 1);
    EXPECT_EQ(keysOf(map), letters);
    expectInvariants(map);
  }
}

TEST(DataMap, deleting_the_last_entry_leaves_a_map_that_works_like_a_new_one) {
  Texts map;
  putAll(map, "A");
  map.deleteDataByID("A");
  EXPECT_EQ(map.getCount(), 0);
  expectFailure("EMPTY_MAP", [&] { map.deleteDataByID("A"); });
  putAll(map, "B");
  EXPECT_EQ(map.getIndexByID("B"), 0);
}

TEST(DataMap, deleting_an_absent_key_changes_nothing) {
  Texts map;
  putAll(map, "AB");
  expectFailure("KEY_NOT_IN_MAP", [&] { map.deleteDataByID("C"); });
  EXPECT_EQ(keysOf(map), "AB");
  expectInvariants(map);
}

TEST(DataMap, deleting_by_a_key_that_lies_in_the_map_is_safe) {
  Texts map;
  const std::string longKey(100, 'k');
  putAll(map, "A");
  map.put(longKey, "value");
  putAll(map, "B");
  map.deleteDataByID(map.keyAt(1));
  EXPECT_EQ(keysOf(map), "AB");
  expectInvariants(map);
}

TEST(DataMap, putting_a_present_key_changes_the_value_and_no_index) {
  Texts map;
  putAll(map, "ABC");
  map.put("B", "other");
  EXPECT_EQ(keysOf(map), "ABC");
  EXPECT_EQ(map.getDataByID("B"), "other");
  EXPECT_EQ(map.getDataByIndex(1), "other");
  expectInvariants(map);
}

TEST(DataMap, putting_an_equal_value_writes_nothing) {
  DataMap<std::int32_t, double> map;
  map.put(1, -0.0);
  map.put(1, 0.0);
  EXPECT_TRUE(std::signbit(map.getDataByID(1)));
  EXPECT_TRUE(std::signbit(map.getDataByIndex(0)));
}

TEST(DataMap, putting_nan_over_nan_leaves_nan) {
  DataMap<std::int32_t, double> map;
  map.put(1, std::nan(""));
  map.put(1, std::nan(""));
  EXPECT_TRUE(std::isnan(map.getDataByID(1)));
  EXPECT_TRUE(std::isnan(map.getDataByIndex(0)));
  map.put(1, 2.0);
  EXPECT_EQ(map.getDataByID(1), 2.0);
}

TEST(DataMap, putting_a_key_that_has_lost_its_index_reports_it_and_changes_nothing) {
  Texts map;
  putAll(map, "AB");
  DataMapInspector<std::string, std::string>::loseIndex(map, "A");
  expectFailure("KEY_NOT_IN_MAP", [&] { map.put("A", "changed"); });
  EXPECT_EQ(map.getDataByID("A"), "AA");
  EXPECT_EQ(map.getDataByIndex(0), "AA");
}

TEST(DataMap, what_is_read_is_a_copy) {
  Texts map;
  putAll(map, "A");
  const std::string value = map.getDataByID("A");
  map.put("A", "changed");
  EXPECT_EQ(value, "AA");
}

TEST(DataMap, after_clear_indices_start_again_and_memory_is_kept) {
  using Inspector = DataMapInspector<std::int32_t, double>;
  Numbers map;
  for (std::int32_t i = 0; i < 1000; ++i) map.put(i, i);
  const std::size_t buckets = Inspector::buckets(map);
  const std::size_t capacity = Inspector::capacity(map);
  map.clear();
  expectInvariants(map);
  EXPECT_EQ(Inspector::buckets(map), buckets);
  EXPECT_EQ(Inspector::capacity(map), capacity);
  EXPECT_FALSE(map.isKey(5));
  map.put(77, 1.0);
  EXPECT_EQ(map.getIndexByID(77), 0);
}

TEST(DataMap, positive_and_negative_zero_are_one_key_and_the_first_stays) {
  DataMap<double, double> map;
  map.put(-0.0, 1);
  map.put(0.0, 2);
  EXPECT_EQ(map.getCount(), 1);
  EXPECT_TRUE(std::signbit(map.getIDByIndex(0)));
  EXPECT_EQ(map.getDataByID(-0.0), 2);
}

TEST(DataMap, infinite_keys_are_ordinary_keys) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  DataMap<float, double> map;
  map.put(infinity, 1);
  map.put(-infinity, 2);
  EXPECT_EQ(map.getDataByID(infinity), 1);
  map.deleteDataByID(infinity);
  EXPECT_EQ(map.getIndexByID(-infinity), 0);
}

TEST(DataMap, a_nan_key_is_never_found_again_and_harms_no_other_entry) {
  DataMap<double, double> map;
  map.put(std::nan(""), 1);
  map.put(2.0, 2);
  EXPECT_FALSE(map.isKey(std::nan("")));
  EXPECT_EQ(map.getDataByIndex(0), 1);
  expectFailure("KEY_NOT_IN_MAP", [&] { map.deleteDataByIndex(0); });
  map.put(1.0, 3);
  map.put(std::nan(""), 4);
  map.deleteDataByID(2.0);
  EXPECT_EQ(map.getIndexByID(1.0), 1);
  EXPECT_EQ(map.getDataByIndex(2), 4);
}

TEST(DataMap, byte_string_keys_compare_by_length_and_bytes) {
  Texts map;
  using std::string_literals::operator""s;
  for (const std::string& key : {""s, "a"s, "a\0"s, "a\0b"s, "\0"s, "\xff"s}) map.put(key, key);
  EXPECT_EQ(map.getCount(), 6);
  EXPECT_EQ(map.getDataByID("a\0"s), "a\0"s);
  EXPECT_EQ(map.getIndexByID(""), 0);
}

TEST(DataMap, a_view_of_a_key_hashes_as_the_key_of_every_length) {
  DataMap<std::string, std::int32_t> map;
  std::string key;
  for (std::int32_t length = 0; length < 300; ++length) {
    map.put(key, length);
    key += static_cast<char>(length * 37);
  }
  for (std::int32_t length = 0; length < 300; ++length) {
    const std::string_view view(key.data(), static_cast<std::size_t>(length));
    EXPECT_EQ(boost::hash<std::string_view>()(view), boost::hash<std::string>()(std::string(view)));
    EXPECT_EQ(map.getDataByID(view), length);
  }
}

TEST(DataMap, a_key_that_is_given_up_is_moved_and_one_that_is_not_stays) {
  Texts map;
  std::string kept(100, 'k');
  std::string given(100, 'g');
  map.put(kept, "1");
  map.put(std::move(given), "2");
  EXPECT_EQ(kept, std::string(100, 'k'));
  EXPECT_EQ(map.getDataByID(std::string(100, 'g')), "2");
  expectInvariants(map);
}

TEST(DataMap, truth_values_are_kept_apart) {
  DataMap<std::int32_t, bool> map;
  for (std::int32_t i = 0; i < 100; ++i) map.put(i, i % 3 == 0);
  map.put(50, true);
  map.deleteDataByIndex(0);
  EXPECT_TRUE(map.getDataByIndex(49));
  EXPECT_FALSE(map.getDataByID(1));
  expectInvariants(map);
}

TEST(DataMap, pointers_are_plain_words) {
  DataMap<std::int32_t, vrArray*> map;
  auto* const nowhere = reinterpret_cast<vrArray*>(16);
  map.put(1, nowhere);
  map.put(1, nullptr);
  EXPECT_EQ(map.getDataByID(1), nullptr);
  map.put(2, nowhere);
  map.deleteDataByID(1);
  EXPECT_EQ(map.getDataByIndex(0), nowhere);
}

}  // namespace
}  // namespace kvr::test
