// Grouping signals by column: counts, the ids in a group, and the names of the groups in order.
//
// Ids may name signals that were removed: a signal enters the data source column under one of its
// strings and leaves it under another (see store/removal.cpp).
//
// A list of names is sorted in place and stays sorted that way; no sorted copy is kept. New names
// are appended to whatever order the last call left.
#include "kvrntob/columns/columns.h"

#include <algorithm>
#include <array>
#include <functional>

#include "kvrntob/base/failure.h"

namespace kvr {

namespace {

using namespace std::string_view_literals;

// In the order of their codes.
constexpr std::array columnKeywords{"GRUNNAME"sv, "GBLOCKPATH"sv, "GDATASOURCE"sv, "GSIGNALNAME"sv,
                                    "GMODEL"sv};
constexpr std::array orderKeywords{"ASC"sv, "DESC"sv};

using NameList = SignalRepository::NameList;

// Whether no name comes before its predecessor. The names' bytes are scattered over memory: each is
// prefetched some steps before it is compared, which takes a third off the walk
// (docs/performance.md).
template <class Before>
bool isInOrder(const NameList& names, Before before) {
  constexpr std::size_t stepsAhead = 6;
  for (std::size_t i = 1; i < names.size(); ++i) {
    if (i + stepsAhead < names.size()) __builtin_prefetch(names[i + stepsAhead].data());
    if (before(names[i], names[i - 1])) return false;
  }
  return true;
}

// Names are unique, so every correct sort gives the same result. A list that already is in this or
// in the opposite order costs one walk: fetching all names costs a walk each instead of a sort
// each.
template <class Before>
void sortNames(NameList& names, Before before) {
  const auto after = [&](const std::string& a, const std::string& b) { return before(b, a); };
  if (isInOrder(names, before)) return;
  if (isInOrder(names, after))
    std::reverse(names.begin(), names.end());
  else
    std::sort(names.begin(), names.end(), before);
}

const std::string& groupNameAt(int32 index, NameList& names, SortOrder order) {
  // Tested before sorting: a call that fails leaves the list unsorted.
  const std::string& name = requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(names, index);
  if (order == SortOrder::Ascending)
    sortNames(names, std::less<>());
  else
    sortNames(names, std::greater<>());
  return name;  // whichever name is in this position now
}

}  // namespace

Column parseColumnName(std::string_view text) {
  const auto code = keywordCode(text, columnKeywords);
  if (!code) raiseFromMessage(KVR::kvr::NON_EXISTENT("Column name"));
  return static_cast<Column>(*code);
}

SortOrder parseSortOrder(std::string_view text) {
  const auto code = keywordCode(text, orderKeywords);
  if (!code) raiseFromMessage(KVR::kvr::INVALID_ORDER());
  return static_cast<SortOrder>(*code);
}

SignalRepository::ColumnIndex SignalRepository::columnIndex(Column column) {
  using Self = SignalRepository;
  switch (column) {
    case Column::RunName:
      break;  // runs can be listed, but signals are not grouped by them
    case Column::BlockPath:
      return {&Self::blockGroups, &Self::blockGroupNames};
    case Column::DataSource:
      return {&Self::dataSourceGroups, &Self::dataSourceGroupNames};
    case Column::SignalName:
      return {&Self::signalNameGroups, &Self::signalNameGroupNames};
    case Column::Model:
      return {&Self::modelGroups, &Self::modelGroupNames};
  }
  raiseFromMessage(KVR::kvr::NON_EXISTENT("Column name"));
}

int32 SignalRepository::groupCount(Column column) const {
  const std::size_t count =
      column == Column::RunName ? runIDs.size() : (this->*columnIndex(column).names).size();
  return static_cast<int32>(count);
}

int32 SignalRepository::groupIDCount(const std::string& group, Column column) const {
  const Groups& groups = this->*columnIndex(column).groups;
  const IDList& ids = requireEntry<KVR::kvr::NON_EXISTENT>(groups, group, "group name");
  return static_cast<int32>(ids.size());
}

int32 SignalRepository::groupIDAt(int32 index, const std::string& group, Column column) const {
  const Groups& groups = this->*columnIndex(column).groups;
  // Required: a capital letter here, a small one in groupIDCount.
  const IDList& ids = requireEntry<KVR::kvr::NON_EXISTENT>(groups, group, "Group name");
  return requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(ids, index);
}

const std::string& SignalRepository::groupName(int32 index, Column column, SortOrder order) {
  if (column == Column::RunName) return runName(runIDAt(index));  // always in order of creation
  return groupNameAt(index, this->*columnIndex(column).names, order);
}

}  // namespace kvr
