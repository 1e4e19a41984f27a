// The store of all signals and runs of the process.
//
// There is one store at a time, reached with getInstance(); every host object of the class shares
// it. Dropping it frees nothing: an object that still holds the old store goes on working on it.
// Look-ups by id, source and run are one hash probe; every order that the store shows comes from a
// list. Single-threaded, without locks.
//
// Indexes and positions count from 1. Tests come before changes, so that a failed operation leaves
// the store as it was, unless it says otherwise. "Run ID", "ID" and "Index" below are short for
// NON_EXISTENT with that word.
//
// Operations are defined in the folder that owns the behaviour, named above each group.
#pragma once

#include <boost/unordered_map.hpp>
#include <string>
#include <vector>

#include "kvrntob/store/data.h"

namespace kvr {

enum class Column : int;     // columns/columns.h
enum class SortOrder : int;  // columns/columns.h

// The last run id given out in the process; 0 when there is none, or the store was dropped.
extern int32 lastRunID;

class SignalRepository {
 public:
  using IDList = std::vector<int32>;
  using NameList = std::vector<std::string>;

  // ---- The store of the process: store/signal_repository.cpp ----

  // The store, made on first use.
  static SignalRepository* getInstance();

  // Forgets the store without freeing it, deletes the scratch file and restarts the id counters.
  static void drop();

  // ---- Runs: store/signal_repository.cpp ----

  // Makes a run and returns its id. Fails as the host functions "version" and "now" fail; the id is
  // then lost, and nothing else changes.
  int32 createEmptyRun(const std::string& name, int32 instance);
  // The run at `position` in the list of all runs. Fails with INDEX_OUT_OF_BOUNDS.
  int32 runIDAt(int32 position) const;
  // Fail with "Run ID".
  const std::string& runName(int32 run) const;
  void setRunName(int32 run, const std::string& name);
  const std::string& version(int32 run) const;
  double dateCreated(int32 run) const;
  // Refreshes version and date. Fails with "Run ID", then as createEmptyRun.
  void updateDateCreated(int32 run);
  // If there is no such run, makes one that has no name and is in no list. Required.
  void setDateCreated(int32 run, double date);
  int32 runCount() const { return static_cast<int32>(runs.size()); }
  int32 nextRunID() const;  // not reserved
  // Empty for an unknown instance.
  IDList runIDsOfInstance(int32 instance) const;
  bool isValidRunID(int32 run) const { return runs.contains(run); }

  // ---- Adding: store/adding.cpp ----

  // Adds a signal and returns its id. Fails with "Run ID"; in file mode with
  // INPUT_MISMATCH("timeseries"), the id and palette step used up; with "ID" if the parent is
  // unknown, the id and palette step used up and in file mode the variable left in the file.
  int32 addSignal(NewSignal&& signal);

  // ---- Looking up: store/lookup.cpp ----

  // Copies of the record, sharing its arrays. Fail with "ID"; NON_EXISTENT("Signal source");
  // "Run ID" if the run has no list of signals (it may exist), then "Index".
  Data copyRecordByID(int32 id) const;
  Data copyRecordBySource(const std::string& source) const;
  Data copyRecordByRunIndex(int32 run, int32 index) const;
  int32 signalIDByRunIndex(int32 run, int32 index) const;
  // The record itself, by its table's own pointer, which is valid until the store changes. A caller
  // that calls the host meanwhile copies the pointer. Fail as the copies do.
  const DataPtr& recordPointerByID(int32 id) const;
  const DataPtr& recordPointerBySource(const std::string& source) const;
  const DataPtr& recordPointerByRunIndex(int32 run, int32 index) const;

  int32 signalCount() const { return static_cast<int32>(signals.size()); }
  // 0 for an unknown run. Leaves an empty list behind for a run that had none.
  int32 signalCount(int32 run);
  // Whether the signal belongs to the run. Fails with "ID" for an unknown signal.
  bool isValidSignalID(int32 run, int32 id) const;
  // The block path at `index` of the block column's names. Fails with "Index".
  const std::string& blockSourceAt(int32 index) const;

  // ---- Removing: store/removal.cpp ----

  // Removes a signal. One without a parent takes its children along; one with a parent leaves its
  // own children behind. Fails with "ID" if it, its parent or, midway, a child is unknown.
  void removeSignal(int32 id);
  // Removes a run and its signals, leaving its settings, the hierarchy and all group names alone.
  // Fails with "Run ID".
  void removeRun(int32 run);
  // The same, then decrements lastRunID, whichever run it was and whether or not it was empty.
  void removeEmptyRun(int32 run);
  // Removes the runs of an instance; none if it is unknown. Costs a sort of what is removed and one
  // pass over each list that loses some of it.
  void deleteInstanceID(int32 instance);

  // ---- Hierarchy: store/lookup.cpp. Fail with "ID" unless noted otherwise ----

  bool hasParent(int32 id) const;
  bool hasChildren(int32 id) const;
  IDList childIDs(int32 id) const;  // oldest link first
  int32 parentID(int32 id) const;   // 0: none
  const std::string& rootDataSource(int32 id) const;
  int32 instanceID(int32 id) const;  // -1 for an unknown signal, no failure
  // Required: does nothing if either signal is known; fails with "ID" if neither is.
  void setParent(int32 child, int32 parent);

  // ---- Copying: store/adding.cpp ----

  // Makes a run of the instance, with the name of `source` and copies of its signals as if newly
  // added, and returns its id. Fails with "Run ID"; then as createEmptyRun; then, with the new run
  // and the copies so far staying, as readScratchVariable or with INPUT_MISMATCH("timeseries").
  int32 copyRun(int32 source, int32 instance);

  // ---- Tolerance settings: settings/settings.cpp ----

  // Settings in force. Fail with "ID", then "Run ID" if inherited and the run has none.
  ToleranceSettings tolerance(int32 id) const;
  bool isToleranceInherited(int32 id) const;  // "ID"
  void resetTolerance(int32 id);              // "ID"; the signal's own settings are kept
  // Setting a field switches the signal to its own settings, with the values they have; the run's
  // are not copied. Fail with "ID".
  void setTolerance(int32 id, const ToleranceField& field, double value);
  void setFcnCallTol(int32 id, std::string text);
  // From a tolerance structure. Fails with "ID", then as readToleranceStruct.
  void setTolerance(int32 id, const vrArray* structure);
  // Settings of a run. They come with its first signal and outlive its removal. Fail with "Run ID"
  // if there are none.
  const ToleranceSettings& toleranceByRun(int32 run) const;
  void setToleranceByRun(int32 run, const ToleranceField& field, double value);
  void setFcnCallTolByRun(int32 run, std::string text);
  // Fails with "Run ID", then as readToleranceStruct.
  void setToleranceByRun(int32 run, const vrArray* structure);

  // ---- Synchronisation options: settings/settings.cpp; as for tolerances ----

  SyncOptions syncOptions(int32 id) const;
  bool isSyncOptionsInherited(int32 id) const;
  void resetSyncOptions(int32 id);
  void setSyncMethod(int32 id, int32 code);
  void setInterpMethod(int32 id, int32 code);
  void setUniformTimeInterval(int32 id, double interval);
  void setCustomSyncMethod(int32 id, std::string text);
  // Fails with "ID", then as readSyncOptionsStruct.
  void setSyncOptions(int32 id, const vrArray* structure);
  const SyncOptions& syncOptionsByRun(int32 run) const;
  void setSyncMethodByRun(int32 run, int32 code);
  void setInterpMethodByRun(int32 run, int32 code);
  void setUniformTimeIntervalByRun(int32 run, double interval);
  void setCustomSyncMethodByRun(int32 run, std::string text);
  // Fails as readSyncOptionsStruct, then with "Run ID".
  void setSyncOptionsByRun(int32 run, const vrArray* structure);

  // One field of the settings in force, or of a run's, such as &SyncOptions::syncType. Fail as the
  // reads of the whole record.
  template <class T>
  T tolerance(int32 id, T ToleranceSettings::*field) const {
    return tolerance(id).*field;
  }
  template <class T>
  T toleranceByRun(int32 run, T ToleranceSettings::*field) const {
    return toleranceByRun(run).*field;
  }
  template <class T>
  T syncOption(int32 id, T SyncOptions::*field) const {
    return syncOptions(id).*field;
  }
  template <class T>
  T syncOptionByRun(int32 run, T SyncOptions::*field) const {
    return syncOptionsByRun(run).*field;
  }

  // ---- Display attributes: settings/settings.cpp. Fail with "ID" ----

  bool isVisible(int32 id) const;
  void setVisible(int32 id, bool visible);
  // Then fails with INVALID_COLOR if a component is below 0 or above 1; NaN is accepted.
  void setLineColor(int32 id, double red, double green, double blue);
  void setLineStyle(int32 id, const std::string& style);  // any text
  void setMetaData(int32 id, SharedArray metaData);

  // ---- Columns: columns/columns.cpp ----

  // Groups that the column ever had, empty ones included; for the run column, runs.
  int32 groupCount(Column column) const;
  // Fails with NON_EXISTENT("Column name") for the run column, then NON_EXISTENT("group name").
  int32 groupIDCount(const std::string& group, Column column) const;
  // Fails with NON_EXISTENT("Column name"), NON_EXISTENT("Group name"), INDEX_OUT_OF_BOUNDS.
  int32 groupIDAt(int32 index, const std::string& group, Column column) const;
  // The name at `index` after sorting the column's list of names, which stays sorted that way. The
  // run column is never sorted. Fails with INDEX_OUT_OF_BOUNDS before sorting.
  const std::string& groupName(int32 index, Column column, SortOrder order);

  // ---- File mode: store/signal_repository.cpp ----

  // Values of later signals go to a new scratch file. Fails as createScratchFile, with the mode
  // switched on.
  void writeToFile();
  // Values of later signals stay in memory; those in the file stay in the file.
  void stopWritingToFile() { writeFlag = false; }

 private:
  using Groups = boost::unordered_map<std::string, IDList>;
  struct ColumnIndex {
    Groups SignalRepository::*groups;
    NameList SignalRepository::*names;
  };

  int32 insertRecord(const std::string& dataSource, const DataPtr& record,
                     const std::string& blockSource, const std::string& signalLabel,
                     const std::string& modelSource, int32 run);
  static void enterGroup(Groups& groups, NameList& names, const std::string& key, int32 id);
  class PendingErasures;
  void removeSignal(int32 id, PendingErasures& erasures);
  void removeChildren(int32 id, PendingErasures& erasures);
  void removeFromGroups(int32 id, PendingErasures& erasures);
  void collectRunRecords(int32 run, PendingErasures& erasures);
  void eraseRunRecords(int32 run) noexcept;
  int32 takeInstanceOfRun(int32 run) noexcept;
  void eraseFromInstance(int32 instance, int32 run) noexcept;
  DataPtr duplicateRecord(const Data& record, bool storedInFile) const;
  int32 insertCopy(int32 run, const DataPtr& copy);
  static ColumnIndex columnIndex(Column column);

  boost::unordered_map<std::string, DataPtr> signalsBySource;  // the newest of each source
  boost::unordered_map<int32, DataPtr> signals;
  boost::unordered_map<int32, std::vector<DataPtr>> signalsByRun;  // in order of adding
  boost::unordered_map<int32, IDList> runsByInstance;              // in order of creation
  boost::unordered_map<int32, int32> instanceByRun;
  Groups blockGroups;  // of each column: ids in order of adding, names as last sorted
  NameList blockGroupNames;
  IDList runIDs;  // in order of creation
  Groups dataSourceGroups;
  NameList dataSourceGroupNames;
  Groups signalNameGroups;
  NameList signalNameGroupNames;
  Groups modelGroups;
  NameList modelGroupNames;
  boost::unordered_map<int32, Run> runs;
  boost::unordered_map<int32, ToleranceSettings> runTolerances;  // never removed
  boost::unordered_map<int32, SyncOptions> runSyncOptions;       // never removed
  bool writeFlag = false;  // new signals go to the scratch file
};

}  // namespace kvr
