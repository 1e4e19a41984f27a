// The structure in which a signal leaves the store.
#include <iterator>

#include "kvrntob/base/host_arrays.h"
#include "kvrntob/store/data.h"
#include "kvrntob/store/scratch_file.h"

namespace kvr {

namespace {

// In the order in which exportSignal sets them. Required: the last one alone begins in lower case.
constexpr const char* fieldNames[] = {"DataID",      "RunID",      "RootSource",  "TimeSource",
                                      "DataSource",  "DataValues", "BlockSource", "ModelSource",
                                      "SignalLabel", "TimeDim",    "SampleDims",  "PortIndex",
                                      "Channel",     "SID",        "LineColor",   "LineDashed",
                                      "MetaData",    "ParentID",   "rootDataSrc"};
static_assert(std::size(fieldNames) == 19);

}  // namespace

vrArray* exportSignal(const Data& record) {
  record.prefetch();
  vrArray* structure = makeStructure(fieldNames);
  int field = 0;
  const auto set = [&](vrArray* value) { vrSetFieldByNumber_730(structure, 0, field++, value); };

  set(makeInt32(record.DataID));
  set(makeInt32(record.RunID));
  set(makeString(record.RootSource));
  set(makeString(record.TimeSource));
  set(makeString(record.DataSource));
  set(record.storedInFile ? readScratchVariable(record.DataID)
                          : vrCreateSharedDataCopy(record.DataValues.get()));
  set(makeString(record.BlockSource));
  set(makeString(record.ModelSource));
  set(makeString(record.SignalLabel));
  set(makeInt32(record.TimeDim));
  set(makeInt32Row(record.SampleDims));
  set(record.PortIndex != -1 ? makeInt32(record.PortIndex) : makeEmptyInt32());
  set(makeInt32Row(record.Channel));
  set(makeString(record.SID));
  set(makeDoubleRow(record.LineColor));
  set(makeString(record.LineDashed));
  set(vrCreateSharedDataCopy(record.MetaData.get()));
  set(makeInt32(record.ParentID));
  set(makeString(record.rootDataSrc));
  return structure;
}

}  // namespace kvr
