#include "kvrntob/columns/columns.h"

#include "tests/support/failure_matchers.h"

namespace kvr::test {
namespace {

// The codes are those of the keywords below.
static_assert(static_cast<int>(Column::RunName) == 0 && static_cast<int>(Column::BlockPath) == 1);
static_assert(static_cast<int>(Column::DataSource) == 2);
static_assert(static_cast<int>(Column::SignalName) == 3 && static_cast<int>(Column::Model) == 4);
static_assert(static_cast<int>(SortOrder::Ascending) == 0);
static_assert(static_cast<int>(SortOrder::Descending) == 1);

TEST(ColumnNames, keywords_of_columns_have_their_codes) {
  EXPECT_EQ(static_cast<int>(parseColumnName("GRUNNAME")), 0);
  EXPECT_EQ(static_cast<int>(parseColumnName("GBLOCKPATH")), 1);
  EXPECT_EQ(static_cast<int>(parseColumnName("GDATASOURCE")), 2);
  EXPECT_EQ(static_cast<int>(parseColumnName("GSIGNALNAME")), 3);
  EXPECT_EQ(static_cast<int>(parseColumnName("GMODEL")), 4);
}

TEST(ColumnNames, keywords_of_orders_have_their_codes) {
  EXPECT_EQ(static_cast<int>(parseSortOrder("ASC")), 0);
  EXPECT_EQ(static_cast<int>(parseSortOrder("DESC")), 1);
}

TEST(ColumnNames, case_does_not_matter) {
  EXPECT_EQ(parseColumnName("gblockpath"), Column::BlockPath);
  EXPECT_EQ(parseColumnName("gModel"), Column::Model);
  EXPECT_EQ(parseSortOrder("asc"), SortOrder::Ascending);
  EXPECT_EQ(parseSortOrder("Desc"), SortOrder::Descending);
}

TEST(ColumnNames, what_is_no_column_is_refused) {
  for (const char* text : {"", "GBLOCKPATH ", " GBLOCKPATH", "GBLOCK", "GBLOCKPATHS", "ASC"})
    expectFailure("NON_EXISTENT", "Column name", [&] { parseColumnName(text); });
}

TEST(ColumnNames, what_is_no_order_is_refused) {
  for (const char* text : {"", "ASC ", " DESC", "ASCENDING", "DES", "GMODEL"})
    expectFailure("INVALID_ORDER", [&] { parseSortOrder(text); });
}

}  // namespace
}  // namespace kvr::test
