#include "compare/checks.h"

#include <cmath>
#include <stdexcept>

#include "compare/reason.h"
#include "compare/shape.h"

namespace kvr::compare {
namespace {

constexpr double kMostGridSteps = 2147483648.0;

bool isTimeVector(const Series& series) {
  return series.clock != Clock::kUnusable && series.times.imaginary == nullptr &&
         series.times.numericClass != NumericClass::kLogical && series.timeCount == series.samples;
}

// Whether a value is a number that is not below 0.
bool isAllowance(double value) { return value >= 0; }

bool toleranceHolds(const Tolerance& tolerance) {
  switch (tolerance.toleranceType) {
    case 0:
      return isAllowance(tolerance.absolute) && isAllowance(tolerance.relative) &&
             !std::isinf(tolerance.relative);
    case 1:
      for (const double field : {tolerance.timeStart, tolerance.timeEnd, tolerance.initAbsTolVal,
                                 tolerance.absStep, tolerance.initRelTolVal, tolerance.relStep}) {
        if (std::isnan(field)) return false;
      }
      return isAllowance(tolerance.timeStep);
    case 2:
      return true;
    default:
      return false;
  }
}

bool syncHolds(const Sync& sync, const CommonSpan& span) {
  if (sync.SyncMethod < 0 || sync.SyncMethod > 2) return false;
  if (sync.InterpMethod < 0 || sync.InterpMethod > 1) return false;
  if (sync.syncType < 0 || sync.syncType > 1) return false;
  if (sync.syncType == 1 || sync.SyncMethod != 2) return true;
  const double interval = sync.UniformTimeInterval;
  if (!std::isfinite(interval) || !(interval > 0)) return false;
  return !span.exists || span.start + (kMostGridSteps + 1) * interval > span.end;
}

}  // namespace

void requireOptions(const Options& options) {
  if (!isAllowance(options.timeTolerance)) {
    throw std::invalid_argument("time tolerance " + std::to_string(options.timeTolerance) +
                                " is not a number of at least 0");
  }
}

void requireReadable(const Series& baseline, const Series& other) {
  const auto either = [&](Content content) {
    return baseline.content == content || other.content == content;
  };
  if (either(Content::kNone)) throw Incomparable{Reason::kNoValues, {}};
  if (either(Content::kNotNumeric)) throw Incomparable{Reason::kNotNumeric, {}};
  if (!isTimeVector(baseline) || !isTimeVector(other) || baseline.clock != other.clock) {
    throw Incomparable{Reason::kBadTime, {}};
  }
}

Reason reasonBeforeJudging(const Series& baseline, const Series& other, const Settings& settings,
                           const CommonSpan& span) {
  const bool bothHaveSamples = baseline.samples > 0 && other.samples > 0;
  if (bothHaveSamples && !sameShape(baseline.shape, other.shape)) return Reason::kShapeDiffers;
  if (!toleranceHolds(settings.tolerance) || !syncHolds(settings.sync, span)) {
    return Reason::kBadSettings;
  }
  const bool lacksFunction =
      (settings.tolerance.toleranceType == 2 && !settings.toleranceFunction) ||
      (settings.sync.syncType == 1 && !settings.syncFunction);
  return lacksFunction ? Reason::kNoFunction : Reason::kNone;
}

}  // namespace kvr::compare
