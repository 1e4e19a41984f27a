#include "kvrntob/store/data.h"

#include <cstddef>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/store/scratch_file.h"

namespace kvr {

const ToleranceSettings defaultTolerance;
const SyncOptions defaultSyncOptions;

int32 lastSignalID = 0;

const std::array<std::array<double, 3>, 16> linePalette{{
    {0, 0, 0},
    {1, 0, 0},
    {0, 1, 0},
    {1, 1, 0},
    {1, 0, 1},
    {0, 0, 1},
    {1, 0.5, 0},
    {0.5, 0, 1},
    {0.5, 0.5, 0.5},
    {0.5, 0.25, 0},
    {0, 1, 1},
    {0.75, 0.75, 0.75},
    {0, 0, 0.5},
    {0, 0.5, 0.5},
    {0, 0, 0.5},
    {0.2, 0.81, 0.2},
}};

const std::array<const char*, 4> lineStyles{"-", "--", ":", "-."};

int32 paletteCounter = -1;

Data::Data(NewSignal&& signal, bool inFile, int32 instanceID)
    : DataID(++lastSignalID),
      RunID(signal.runID),
      RootSource(std::move(signal.rootSource)),
      TimeSource(std::move(signal.timeSource)),
      DataSource(std::move(signal.dataSource)),
      BlockSource(std::move(signal.blockSource)),
      ModelSource(std::move(signal.modelSource)),
      SignalLabel(std::move(signal.signalLabel)),
      TimeDim(signal.timeDim),
      SampleDims(std::move(signal.sampleDims)),
      PortIndex(signal.portIndex),
      Channel(std::move(signal.channel)),
      SID(std::move(signal.sid)),
      MetaData(std::move(signal.metaData)),
      storedInFile(inFile),
      rootDataSrc(std::move(signal.rootDataSrc)),
      InstanceID(instanceID) {
  nextLineAttributes();
  if (storedInFile) {
    writeScratchVariable(signal.values.get(), DataID);
  } else {
    DataValues = std::move(signal.values);
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
  // NaN fails each of these comparisons and so is accepted, as required.
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
