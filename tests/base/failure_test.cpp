#include "kvrntob/base/failure.h"

#include <gtest/gtest.h>

#include <boost/unordered_map.hpp>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/failure_matchers.h"

namespace kvr::test {
namespace {

using Table = boost::unordered_map<std::string, int>;

TEST(RequireEntry, gives_the_value_itself) {
  Table table{{"a", 1}, {"b", 2}};
  requireEntry<KVR::kvr::NON_EXISTENT>(table, "b", "ID") = 3;
  EXPECT_EQ(table, (Table{{"a", 1}, {"b", 3}}));
}

TEST(RequireEntry, absent_key_fails_with_class_and_word) {
  const Table table{{"a", 1}};
  expectFailure("NON_EXISTENT", "group name",
                [&] { requireEntry<KVR::kvr::NON_EXISTENT>(table, "b", "group name"); });
}

TEST(RequireEntry, absent_key_makes_no_entry) {
  Table table;
  expectFailure("NON_EXISTENT", "ID",
                [&] { requireEntry<KVR::kvr::NON_EXISTENT>(table, "a", "ID"); });
  EXPECT_TRUE(table.empty());
}

TEST(RequireElement, indexes_count_from_one) {
  const std::vector<int> list{5, 6, 7};
  EXPECT_EQ(requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(list, 1), 5);
  EXPECT_EQ(requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(list, 3), 7);
}

TEST(RequireElement, index_outside_the_list_fails) {
  const std::vector<int> list{5, 6, 7};
  for (const std::int32_t index : {std::numeric_limits<std::int32_t>::min(), -1, 0, 4,
                                   std::numeric_limits<std::int32_t>::max()}) {
    expectFailure("INDEX_OUT_OF_BOUNDS",
                  [&] { requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(list, index); });
  }
}

TEST(RequireElement, empty_list_fails_with_class_and_word) {
  const std::vector<int> list;
  expectFailure("NON_EXISTENT", "Index",
                [&] { requireElement<KVR::kvr::NON_EXISTENT>(list, 1, "Index"); });
}

}  // namespace
}  // namespace kvr::test
