// The record of a stored signal: where it came from, its time series, how it is drawn, the settings
// of a later comparison, and its position in the run and in the hierarchy. And the palette from
// which a new signal takes its line colour and style.
//
// The repository owns every record through shared pointers and does all table work; a record offers
// construction, copying and field access. Strings are byte strings, UTF-8.
#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "kvrntob/store/records.h"

namespace kvr {

// The last signal id given out in the process; 0 before the first, and after the store was dropped.
extern int32 lastSignalID;

// Line colours of new signals: red, green and blue, each from 0 to 1. Rows 12 and 14 are equal, as
// required.
extern const std::array<std::array<double, 3>, 16> linePalette;

// Line styles of new signals. All colours are used in one style before the next style begins.
extern const std::array<const char*, 4> lineStyles;

// The palette position of the last signal made in the process, -1 before the first. Never reset:
// neither removals nor a dropped store change it.
extern int32 paletteCounter;

class Data;

// A new 1-by-1 structure of 19 fields, owned by the caller, from "DataID" to "rootDataSrc".
// "DataValues" and "MetaData" share their elements with the record's arrays.
// Fails as readScratchVariable if the record's values are in the scratch file; the host then frees
// the unfinished structure when its call ends. Defined in exchange/export_signal.cpp.
vrArray* exportSignal(const Data& record);

class Data {
 public:
  // Takes the next id, then the next line colour and style. If `storedInFile`, the values are
  // written to the scratch file and not kept; otherwise they are kept. The parent is not set.
  // Fails with INPUT_MISMATCH("timeseries") if `storedInFile` and the values have no "Time" or
  // "Data" property or the file cannot be written. The id and the palette step are then used up.
  Data(NewSignal&& signal, bool storedInFile, int32 instanceID);

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

  // Prefetches the memory that a copy or an export reads, so that the cache misses of its strings
  // overlap. docs/performance.md has the gains.
  void prefetch() const;

  // The settings in force: the record's own, or those of its run in the store of the process if
  // they are inherited. Fail with NON_EXISTENT("Run ID") if that store has none for the run.
  ToleranceSettings effectiveTolerance() const;
  SyncOptions effectiveSyncOptions() const;

  // One field of the settings in force, such as &ToleranceSettings::absolute. Fail as above.
  template <class T>
  T tolerance(T ToleranceSettings::*field) const {
    return effectiveTolerance().*field;
  }
  template <class T>
  T syncOption(T SyncOptions::*field) const {
    return effectiveSyncOptions().*field;
  }

  // ---- Changing. Only the colour is checked. ----
  void setRunID(int32 runID) { RunID = runID; }
  void setVisible(bool visible) { Visible = visible; }
  void setLineDashed(const std::string& style) { LineDashed = style; }
  void linkToParent(int32 parentID);
  void useRunTolerance() { toleranceInherited = true; }
  void useRunSyncOptions() { syncOptionsInherited = true; }

  // Each component from 0 to 1; NaN is accepted. Fails with INVALID_COLOR, colour unchanged.
  void setLineColor(double red, double green, double blue);

  // The record's own settings, for writing. The record no longer inherits those of its run.
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
