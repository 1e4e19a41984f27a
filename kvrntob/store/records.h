// The plain records of the store: a run, the description of a signal to be added, and the settings
// that a later comparison will use. The store keeps these settings and never applies them.
#pragma once

#include <string>
#include <vector>

#include "kvrntob/base/codes.h"
#include "kvrntob/base/host_arrays.h"

namespace kvr {

// A named group of signals.
struct Run {
  std::string runName;       // not unique, may be empty
  std::string version;       // text of the host's version
  double dateCreated = 0.0;  // the host's "now", never interpreted here
};

// A signal to be added, as its caller describes it. The store interprets none of the strings; four
// of them are the keys under which columns group the signal.
struct NewSignal {
  std::string rootSource;
  std::string timeSource;
  std::string dataSource;   // key of its column, and of the look-up by source
  SharedArray values;       // any host array; in file mode a timeseries object
  std::string blockSource;  // block path; key of its column
  std::string modelSource;  // key of its column
  std::string signalLabel;  // signal name; key of its column
  int32 timeDim = 0;        // time dimension of the values; 0: none given
  std::vector<int32> sampleDims;
  int32 portIndex = 0;  // 0: none given
  std::vector<int32> channel;
  std::string sid;
  int32 runID = 0;
  SharedArray metaData;  // any host array
  int32 parentID = 0;    // 0: no parent
  std::string rootDataSrc;
};

// How far two signals may differ. toleranceType says which group of fields is in force; the fields
// of the other groups are kept.
struct ToleranceSettings {
  int32 toleranceType = 0;  // 0, 1 or 2

  // Group 0.
  double absolute = 0.0;
  double relative = 0.0;

  // Group 1.
  double timeStart = 0.0;
  double timeEnd = 0.0;
  double timeStep = 0.0;
  double initAbsTolVal = 0.0;
  double absStep = 0.0;
  double initRelTolVal = 0.0;
  double relStep = 0.0;

  // Group 2: text of a function call.
  std::string fcnCall;

  friend bool operator==(const ToleranceSettings&, const ToleranceSettings&) = default;
};

// A number of the record that is set by itself, with the type that setting it selects.
struct ToleranceField {
  double ToleranceSettings::*member;
  int32 type;
};

namespace toleranceField {

inline constexpr ToleranceField absolute{&ToleranceSettings::absolute, 0};
inline constexpr ToleranceField relative{&ToleranceSettings::relative, 0};
inline constexpr ToleranceField timeStart{&ToleranceSettings::timeStart, 1};
inline constexpr ToleranceField timeEnd{&ToleranceSettings::timeEnd, 1};
inline constexpr ToleranceField timeStep{&ToleranceSettings::timeStep, 1};
inline constexpr ToleranceField initAbsTolVal{&ToleranceSettings::initAbsTolVal, 1};
inline constexpr ToleranceField absStep{&ToleranceSettings::absStep, 1};
inline constexpr ToleranceField initRelTolVal{&ToleranceSettings::initRelTolVal, 1};
inline constexpr ToleranceField relStep{&ToleranceSettings::relStep, 1};

}  // namespace toleranceField

// How the time bases of two signals are brought together before they are compared.
struct SyncOptions {
  int32 SyncMethod = 0;               // 0 union, 1 intersection, 2 uniform
  int32 InterpMethod = 0;             // 0 zero-order hold, 1 linear
  double UniformTimeInterval = 0.01;  // interval of a uniform grid
  std::string customSyncMethod;       // text that names a custom method
  int32 syncType = 0;                 // 0: SyncMethod is in force, 1: customSyncMethod

  friend bool operator==(const SyncOptions&, const SyncOptions&) = default;
};

// Made when the module is loaded and never changed; a run's settings start as copies of these.
extern const ToleranceSettings defaultTolerance;
extern const SyncOptions defaultSyncOptions;

}  // namespace kvr
