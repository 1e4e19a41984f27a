// The columns that signals can be grouped by, and the orders that groups can be listed in.
#pragma once

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

}  // namespace kvr
