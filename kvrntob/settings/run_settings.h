// Finding the settings of a run.
#pragma once

#include "kvrntob/binding/failure.h"
#include "kvrntob/host/libqnKVR_res.h"
#include "kvrntob/store/integers.h"

namespace kvr {

// The run's entry in a table of settings, not in the table of runs: a run has none before its first
// signal, and keeps it when it is removed. Fails with NON_EXISTENT("Run ID").
template <class Table>
auto& settingsOfRun(Table& table, int32 run) {
  const auto entry = table.find(run);
  if (entry == table.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  return entry->second;
}

}  // namespace kvr
