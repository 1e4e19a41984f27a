// The keywords of columns and of sort orders.
#pragma once

#include <string_view>

#include "kvrntob/store/column.h"

namespace kvr {

// From the keyword, in any case of its ASCII letters, nothing trimmed.
// Fails with NON_EXISTENT("Column name").
Column parseColumnName(std::string_view text);
// Fails with INVALID_ORDER.
SortOrder parseSortOrder(std::string_view text);

}  // namespace kvr
