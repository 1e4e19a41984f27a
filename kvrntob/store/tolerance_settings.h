// The tolerance that a later comparison of signals is to apply. Kept here, never applied.
#pragma once

#include <string>

#include "kvrntob/store/integers.h"

namespace kvr {

// toleranceType says which group of fields counts; the fields of the other groups are kept.
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

// Made when the module is loaded and never changed; seeds the settings of a run.
extern const ToleranceSettings defaultTolerance;

}  // namespace kvr
