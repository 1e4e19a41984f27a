// The store of the process, its file mode and its runs.
#include "kvrntob/store/signal_repository.h"

#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/store/scratch_file.h"

namespace kvr {

int32 lastRunID = 0;

namespace {

SignalRepository* theRepository = nullptr;

// A record of this name with the host's present version and date. Fails as the host functions
// "version" and "now" fail.
Run makeRunRecord(const std::string& name) {
  Run run;
  run.runName = name;
  run.version = vrArrayToStdString(callHostFunction("version", OnFailure::Throw).get());
  run.dateCreated = vrGetScalar(callHostFunction("now", OnFailure::Throw).get());
  return run;
}

}  // namespace

SignalRepository* SignalRepository::getInstance() {
  if (theRepository == nullptr) theRepository = new SignalRepository;
  return theRepository;
}

void SignalRepository::drop() {
  lastSignalID = 0;
  removeScratchFile();
  theRepository = nullptr;  // not freed: older host objects go on working on it
  lastRunID = 0;
}

void SignalRepository::writeToFile() {
  writeFlag = true;
  createScratchFile();
}

int32 SignalRepository::createEmptyRun(const std::string& name, int32 instance) {
  const int32 run = ++lastRunID;  // first, so that a failing host function loses the number
  runs[run] = makeRunRecord(name);
  runIDs.push_back(run);
  runsByInstance[instance].push_back(run);
  instanceByRun[run] = instance;
  return run;
}

int32 SignalRepository::runIDAt(int32 position) const {
  return requireElement<KVR::kvr::INDEX_OUT_OF_BOUNDS>(runIDs, position);
}

const std::string& SignalRepository::runName(int32 run) const {
  return requireEntry<KVR::kvr::NON_EXISTENT>(runs, run, "Run ID").runName;
}

void SignalRepository::setRunName(int32 run, const std::string& name) {
  requireEntry<KVR::kvr::NON_EXISTENT>(runs, run, "Run ID").runName = name;
}

const std::string& SignalRepository::version(int32 run) const {
  return requireEntry<KVR::kvr::NON_EXISTENT>(runs, run, "Run ID").version;
}

double SignalRepository::dateCreated(int32 run) const {
  return requireEntry<KVR::kvr::NON_EXISTENT>(runs, run, "Run ID").dateCreated;
}

void SignalRepository::updateDateCreated(int32 run) {
  Run fresh = makeRunRecord(runName(run));
  // Looked up again: a host function may have called back and removed the run.
  requireEntry<KVR::kvr::NON_EXISTENT>(runs, run, "Run ID") = std::move(fresh);
}

void SignalRepository::setDateCreated(int32 run, double date) { runs[run].dateCreated = date; }

int32 SignalRepository::nextRunID() const { return lastRunID + 1; }

SignalRepository::IDList SignalRepository::runIDsOfInstance(int32 instance) const {
  const auto entry = runsByInstance.find(instance);
  return entry != runsByInstance.end() ? entry->second : IDList();
}

}  // namespace kvr
