// The groups of a column, and the ids in a group.
//
// Ids may name signals that are gone: the data source column files a signal under one of its
// strings and takes it out under another (see store/removal.cpp).
#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

SignalRepository::ColumnIndex SignalRepository::columnIndex(Column column) {
  using Self = SignalRepository;
  switch (column) {
    case Column::RunName:
      break;  // can be listed, but has no ids by group
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
  const auto entry = groups.find(group);
  if (entry == groups.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("group name"));
  return static_cast<int32>(entry->second.size());
}

int32 SignalRepository::groupIDAt(int32 index, const std::string& group, Column column) const {
  const Groups& groups = this->*columnIndex(column).groups;
  const auto entry = groups.find(group);
  // A capital letter here, a small one in groupIDCount: both stay.
  if (entry == groups.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("Group name"));
  const IDList& list = entry->second;
  if (index < 1 || static_cast<std::size_t>(index) > list.size())
    raiseFromMessage(KVR::kvr::INDEX_OUT_OF_BOUNDS());
  return list[static_cast<std::size_t>(index) - 1];
}

}  // namespace kvr
