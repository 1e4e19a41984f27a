#include "kvrntob/store/data.h"

#include <cstddef>
#include <utility>

#include "kvrntob/binding/failure.h"
#include "kvrntob/exchange/scratch_file.h"
#include "kvrntob/store/palette.h"

namespace kvr {

const ToleranceSettings defaultTolerance;
const SyncOptions defaultSyncOptions;

int32 lastSignalID = 0;

Data::Data(std::string rootSource, std::string timeSource, std::string dataSource,
           SharedArray values, std::string blockSource, std::string modelSource,
           std::string signalLabel, int32 timeDim, std::vector<int32> sampleDims, int32 portIndex,
           std::vector<int32> channel, std::string sid, int32 runID, SharedArray metaData,
           bool inFile, std::string rootDataSource, int32 instanceID)
    : DataID(++lastSignalID),
      RunID(runID),
      RootSource(std::move(rootSource)),
      TimeSource(std::move(timeSource)),
      DataSource(std::move(dataSource)),
      BlockSource(std::move(blockSource)),
      ModelSource(std::move(modelSource)),
      SignalLabel(std::move(signalLabel)),
      TimeDim(timeDim),
      SampleDims(std::move(sampleDims)),
      PortIndex(portIndex),
      Channel(std::move(channel)),
      SID(std::move(sid)),
      MetaData(std::move(metaData)),
      storedInFile(inFile),
      rootDataSrc(std::move(rootDataSource)),
      InstanceID(instanceID) {
  nextLineAttributes();
  if (storedInFile) {
    writeScratchVariable(values.get(), DataID);
  } else {
    DataValues = std::move(values);
  }
}

void Data::nextLineAttributes() {
  const auto n = static_cast<std::size_t>(++paletteCounter);
  const auto& color = linePalette[n % linePalette.size()];
  LineColor.assign(color.begin(), color.end());
  LineDashed = lineStyles[(n / linePalette.size()) % lineStyles.size()];
}

void Data::prefetch() const {
  constexpr std::size_t cacheLine = 64;
  const auto* bytes = reinterpret_cast<const std::byte*>(this);
  for (std::size_t at = 0; at < sizeof(*this); at += cacheLine) __builtin_prefetch(bytes + at);
  for (const std::string* text : {&RootSource, &TimeSource, &DataSource, &BlockSource, &ModelSource,
                                  &SignalLabel, &SID, &rootDataSrc})
    __builtin_prefetch(text->data());
  __builtin_prefetch(SampleDims.data());
  __builtin_prefetch(LineColor.data());
}

void Data::linkToParent(int32 parentID) {
  hasParentFlag = true;
  ParentID = parentID;
}

void Data::setLineColor(double red, double green, double blue) {
  // Written as comparisons that fail, so that NaN passes.
  if (red < 0 || red > 1 || green < 0 || green > 1 || blue < 0 || blue > 1)
    raiseFromMessage(KVR::kvr::INVALID_COLOR());
  LineColor[0] = red;
  LineColor[1] = green;
  LineColor[2] = blue;
}

ToleranceSettings& Data::ownTolerance() {
  toleranceInherited = false;
  return Tolerance;
}

SyncOptions& Data::ownSyncOptions() {
  syncOptionsInherited = false;
  return Sync;
}

}  // namespace kvr
