// Parents and children, and two facts of a signal that are asked for in the same way.
#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

bool SignalRepository::hasParent(int32 id) const { return recordPointerByID(id)->hasParent(); }

bool SignalRepository::hasChildren(int32 id) const {
  return !recordPointerByID(id)->ChildIDs.empty();
}

SignalRepository::IDList SignalRepository::childIDs(int32 id) const {
  return recordPointerByID(id)->ChildIDs;
}

int32 SignalRepository::parentID(int32 id) const { return recordPointerByID(id)->ParentID; }

const std::string& SignalRepository::rootDataSource(int32 id) const {
  return recordPointerByID(id)->rootDataSrc;
}

int32 SignalRepository::instanceID(int32 id) const {
  const auto entry = signals.find(id);
  return entry != signals.end() ? entry->second->InstanceID : -1;
}

void SignalRepository::setParent(int32 child, int32 parent) {
  // The guard is inverted, and that is required: links come from adding alone.
  if (signals.contains(child) || signals.contains(parent)) return;
  raiseFromMessage(KVR::kvr::NON_EXISTENT("ID"));
}

}  // namespace kvr
