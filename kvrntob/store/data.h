// The record of a stored signal: where it came from, its time series, how it is drawn, the settings
// of a later comparison, and its place in the run and in the hierarchy.
//
// The repository owns every record through shared pointers and does all table work; a record offers
// construction, copying and field access. Strings are byte strings, UTF-8.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "kvrntob/store/array_owners.h"
#include "kvrntob/store/integers.h"
#include "kvrntob/store/sync_options.h"
#include "kvrntob/store/tolerance_settings.h"

namespace kvr {

class Data;
vrArray* exportSignal(const Data& record);

// The last signal id given out in the process; 0 when there is none, or the store was dropped.
extern int32 lastSignalID;

class Data {
 public:
  // Takes the next id, then the next line colour and style. If `storedInFile`, `values` are written
  // to the scratch file and not kept; else they are kept.
  // Fails with INPUT_MISMATCH("timeseries") if `storedInFile` and the values have no "Time" or
  // "Data" property or the file cannot be written. The id and the palette step are used up then.
  Data(std::string rootSource, std::string timeSource, std::string dataSource, SharedArray values,
       std::string blockSource, std::string modelSource, std::string signalLabel, int32 timeDim,
       std::vector<int32> sampleDims, int32 portIndex, std::vector<int32> channel, std::string sid,
       int32 runID, SharedArray metaData, bool storedInFile, std::string rootDataSrc,
       int32 instanceID);

  // Member by member, the id included; the two arrays are shared.
  Data(const Data&) = default;
  Data& operator=(const Data&) = delete;

  // ---- Reading ----
  std::string getRootSource() const { return RootSource; }
  std::string getTimeSource() const { return TimeSource; }
  std::string getDataSource() const { return DataSource; }
  std::string getBlockSource() const { return BlockSource; }
  std::string getModelSource() const { return ModelSource; }
  std::string getSignalLabel() const { return SignalLabel; }
  std::string getSID() const { return SID; }
  std::string getLineDashed() const { return LineDashed; }
  std::string getRootDataSrc() const { return rootDataSrc; }
  std::vector<int32> getSampleDims() const { return SampleDims; }
  std::vector<int32> getChannel() const { return Channel; }
  std::vector<double> getLineColor() const { return LineColor; }
  SharedArray getDataValues() const { return DataValues; }  // null if isStoredInFile()
  SharedArray getMetaData() const { return MetaData; }
  int32 getDataID() const { return DataID; }
  int32 getRunID() const { return RunID; }
  int32 getTimeDim() const { return TimeDim; }
  int32 getPortIndex() const { return PortIndex; }
  int32 getParentID() const { return ParentID; }      // 0: none
  int32 getInstanceID() const { return InstanceID; }  // -1: the run had none
  bool isVisible() const { return Visible; }
  bool isStoredInFile() const { return storedInFile; }
  bool hasParent() const { return hasParentFlag; }
  bool isToleranceInherited() const { return toleranceInherited; }
  bool isSyncOptionsInherited() const { return syncOptionsInherited; }

  // Asks for the memory of all that a copy or an export reads, so that the waits for it overlap.
  // The texts of a record that was not read lately lie in memory far from the processor.
  void prefetch() const;

  // The settings in force: the record's own, or those of its run in the store of the process if
  // they are inherited. Fail with NON_EXISTENT("Run ID") if that store has none for the run.
  ToleranceSettings effectiveTolerance() const;
  SyncOptions effectiveSyncOptions() const;

  // One field of them, such as &ToleranceSettings::absolute. Fail as above.
  template <class T>
  T tolerance(T ToleranceSettings::*field) const {
    return effectiveTolerance().*field;
  }
  template <class T>
  T syncOption(T SyncOptions::*field) const {
    return effectiveSyncOptions().*field;
  }

  // ---- Changing; no tests, but for the colour ----
  void setRunID(int32 runID) { RunID = runID; }
  void setVisible(bool visible) { Visible = visible; }
  void setLineDashed(const std::string& style) { LineDashed = style; }
  void linkToParent(int32 parentID);
  void useRunTolerance() { toleranceInherited = true; }
  void useRunSyncOptions() { syncOptionsInherited = true; }

  // Each component from 0 to 1; NaN passes. Fails with INVALID_COLOR, colour unchanged.
  void setLineColor(double red, double green, double blue);

  // The record's own settings, to be written; what is written comes into force at once.
  ToleranceSettings& ownTolerance();
  SyncOptions& ownSyncOptions();

 private:
  friend class SignalRepository;                     // ChildIDs, MetaData; keys by reference
  friend vrArray* exportSignal(const Data& record);  // fields by reference

  void nextLineAttributes();

  std::vector<int32> ChildIDs;  // oldest link first
  int32 DataID;
  int32 RunID;
  std::string RootSource;
  std::string TimeSource;
  std::string DataSource;
  SharedArray DataValues;
  std::string BlockSource;
  std::string ModelSource;
  std::string SignalLabel;
  int32 TimeDim;
  std::vector<int32> SampleDims;
  int32 PortIndex;
  std::vector<int32> Channel;
  std::string SID;
  bool Visible = false;
  std::vector<double> LineColor;  // red, green, blue
  std::string LineDashed;
  bool toleranceInherited = true;
  bool syncOptionsInherited = true;
  ToleranceSettings Tolerance;
  SyncOptions Sync;
  SharedArray MetaData;
  bool storedInFile;
  bool hasParentFlag = false;
  std::string rootDataSrc;
  int32 ParentID = 0;
  int32 InstanceID;
};

using DataPtr = boost::shared_ptr<Data>;

}  // namespace kvr
