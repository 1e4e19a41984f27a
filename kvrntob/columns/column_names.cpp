#include "kvrntob/columns/column_names.h"

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/keyword.h"

namespace kvr {

namespace {

using std::literals::operator""sv;

// In the order of their codes.
constexpr std::array kColumns{"GRUNNAME"sv, "GBLOCKPATH"sv, "GDATASOURCE"sv, "GSIGNALNAME"sv,
                              "GMODEL"sv};
constexpr std::array kOrders{"ASC"sv, "DESC"sv};

}  // namespace

Column parseColumnName(std::string_view text) {
  const auto code = keywordCode(text, kColumns);
  if (!code) raiseFromMessage(KVR::kvr::NON_EXISTENT("Column name"));
  return static_cast<Column>(*code);
}

SortOrder parseSortOrder(std::string_view text) {
  const auto code = keywordCode(text, kOrders);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_ORDER());
  return static_cast<SortOrder>(*code);
}

}  // namespace kvr
