// Copying a run: deep as to the data, shallow as to whatever was set after a signal was added.
#include <memory>

#include "kvrntob/binding/failure.h"
#include "kvrntob/exchange/scratch_file.h"
#include "kvrntob/store/signal_repository.h"

namespace kvr {

int32 SignalRepository::copyRun(int32 source, int32 instance) {
  const int32 copy = createEmptyRun(std::string(runName(source)), instance);
  // Taken once: the new run may have got the number of the source itself.
  const auto count = static_cast<int32>(signalsByRun[source].size());
  for (int32 index = 1; index <= count; ++index) {
    const DataPtr record = recordPointerByRunIndex(source, index);
    // Reading values back calls the host, where a function may change or remove the signal.
    std::unique_ptr<Data> duplicate(record->storedInFile ? duplicateRecord(Data(*record), writeFlag)
                                                         : duplicateRecord(*record, writeFlag));
    duplicate->setRunID(copy);
    insertCopy(copy, duplicate.release());
  }
  return copy;
}

Data* SignalRepository::duplicateRecord(const Data& record, bool storedInFile) const {
  SharedArray values = keepArray(record.storedInFile ? readScratchVariable(record.DataID)
                                                     : vrDuplicateArray(record.DataValues.get()));
  SharedArray metaData = keepArray(vrDuplicateArray(record.MetaData.get()));
  return new Data(record.RootSource, record.TimeSource, record.DataSource, std::move(values),
                  record.BlockSource, record.ModelSource, record.SignalLabel, record.TimeDim,
                  record.SampleDims, record.PortIndex, record.Channel, record.SID, record.RunID,
                  std::move(metaData), storedInFile, record.rootDataSrc, record.InstanceID);
}

int32 SignalRepository::insertCopy(int32 run, Data* copy) {
  const DataPtr record(copy);
  if (!runs.contains(run)) raiseFromMessage(KVR::kvr::NON_EXISTENT("Run ID"));
  return insertRecord(record->DataSource, record, record->BlockSource, record->SignalLabel,
                      record->ModelSource, run);
}

}  // namespace kvr
