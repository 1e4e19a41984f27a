// Runs: their records, the list of all runs and the lists of instances.
#include <utility>

#include "kvrntob/binding/failure.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

int32 SignalRepository::createEmptyRun(const std::string& name, int32 instance) {
  const int32 run = ++lastRunID;  // first, so that a failing host function loses the number
  runs[run] = makeRunRecord(name);
  runIDs.push_back(run);
  runsByInstance[instance].push_back(run);
  instanceByRun[run] = instance;
  return run;
}

int32 SignalRepository::runIDAt(int32 position) const {
  if (position < 1 || static_cast<std::size_t>(position) > runIDs.size())
    raiseFromMessage(KVR::kvr::INDEX_OUT_OF_BOUNDS());
  return runIDs[static_cast<std::size_t>(position) - 1];
}

const Run& SignalRepository::runRecord(int32 run) const {
  const auto entry = runs.find(run);
  if (entry == runs.end()) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  return entry->second;
}

Run& SignalRepository::runRecord(int32 run) {
  return const_cast<Run&>(std::as_const(*this).runRecord(run));
}

const std::string& SignalRepository::runName(int32 run) const { return runRecord(run).runName; }

void SignalRepository::setRunName(int32 run, const std::string& name) {
  runRecord(run).runName = name;
}

const std::string& SignalRepository::version(int32 run) const { return runRecord(run).version; }

double SignalRepository::dateCreated(int32 run) const { return runRecord(run).dateCreated; }

void SignalRepository::updateDateCreated(int32 run) {
  Run fresh = makeRunRecord(runName(run));
  runRecord(run) = std::move(fresh);  // looked up anew: host functions may call back
}

void SignalRepository::setDateCreated(int32 run, double date) { runs[run].dateCreated = date; }

int32 SignalRepository::nextRunID() const { return lastRunID + 1; }

SignalRepository::IDList SignalRepository::runIDsOfInstance(int32 instance) const {
  const auto entry = runsByInstance.find(instance);
  return entry != runsByInstance.end() ? entry->second : IDList();
}

}  // namespace kvr
