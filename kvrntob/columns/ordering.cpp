// The names of a column's groups, one at a time, in the order asked for.
//
// The lists of names are sorted where they stand and stay that way: there is no sorted view beside
// them, and new names go to the end of whatever order the last call left.
#include <algorithm>
#include <functional>

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

namespace {

using NameList = SignalRepository::NameList;

// Whether no name comes before the one in front of it. The bytes of the names lie all over memory:
// they are asked for some steps before they are compared.
template <class Before>
bool isInOrder(const NameList& names, Before before) {
  constexpr std::size_t stepsAhead = 6;
  for (std::size_t i = 1; i < names.size(); ++i) {
    if (i + stepsAhead < names.size()) __builtin_prefetch(names[i + stepsAhead].data());
    if (before(names[i], names[i - 1])) return false;
  }
  return true;
}

// Names are unique, so that every correct sort gives the one result. A list in the asked or in the
// opposite order costs one walk, so that fetching all names costs a walk each and never a sort
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
  if (index < 1 || static_cast<std::size_t>(index) > names.size())
    raiseFromMessage(KVR::kvr::INDEX_OUT_OF_BOUNDS());
  if (order == SortOrder::Ascending)
    sortNames(names, std::less<>());
  else
    sortNames(names, std::greater<>());
  return names[static_cast<std::size_t>(index) - 1];
}

}  // namespace

const std::string& SignalRepository::groupName(int32 index, Column column, SortOrder order) {
  if (column == Column::RunName) return runName(runIDAt(index));  // in order of creation, always
  return groupNameAt(index, this->*columnIndex(column).names, order);
}

}  // namespace kvr
