#include "kvrntob/store/signal_repository.h"

#include "kvrntob/exchange/scratch_file.h"

namespace kvr {

int32 lastRunID = 0;

namespace {

SignalRepository* theRepository = nullptr;

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

}  // namespace kvr
