// The columns that signals can be grouped by, the orders that groups can be listed in, and the
// keywords of both. Operations on columns are members of SignalRepository.
#pragma once

#include <string_view>

#include "kvrntob/store/signal_repository.h"

namespace kvr {

enum class Column : int {
  RunName = 0,     // "GRUNNAME", served from the list of runs
  BlockPath = 1,   // "GBLOCKPATH"
  DataSource = 2,  // "GDATASOURCE"
  SignalName = 3,  // "GSIGNALNAME"
  Model = 4        // "GMODEL"
};

enum class SortOrder : int {
  Ascending = 0,  // "ASC"
  Descending = 1  // "DESC"
};

// From the keyword, in any case of its ASCII letters; nothing is trimmed.
// Fails with NON_EXISTENT("Column name").
Column parseColumnName(std::string_view text);
// Fails with INVALID_ORDER.
SortOrder parseSortOrder(std::string_view text);

}  // namespace kvr
