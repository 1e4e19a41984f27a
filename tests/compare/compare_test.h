// Short forms for tests that compare two small signals.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/compare/owned_series.h"

namespace kvr::compare::test {

using testing::ElementsAre;
using testing::IsEmpty;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Settings and options, changed step by step: `Given().linear().absolute(0.5)`.
struct Given {
  Settings settings;
  Options options;

  Given& linear() { return settings.sync.InterpMethod = 1, *this; }
  Given& intersection() { return settings.sync.SyncMethod = 1, *this; }
  Given& uniform(double interval) {
    settings.sync.SyncMethod = 2;
    settings.sync.UniformTimeInterval = interval;
    return *this;
  }
  Given& custom(SyncFunction function) {
    settings.sync.syncType = 1;
    settings.syncFunction = std::move(function);
    return *this;
  }
  Given& absolute(double value) { return settings.tolerance.absolute = value, *this; }
  Given& relative(double value) { return settings.tolerance.relative = value, *this; }
  // Group 1 with a constant absolute tolerance.
  Given& window(double start, double end, double tolerance = 0.0) {
    settings.tolerance.toleranceType = 1;
    settings.tolerance.timeStart = start;
    settings.tolerance.timeEnd = end;
    settings.tolerance.initAbsTolVal = tolerance;
    return *this;
  }
  Given& function(ToleranceFunction function) {
    settings.tolerance.toleranceType = 2;
    settings.toleranceFunction = std::move(function);
    return *this;
  }
  Given& within(double timeTolerance) { return options.timeTolerance = timeTolerance, *this; }
  Given& common() { return options.coverage = Coverage::kCommon, *this; }
};

struct Signal {
  std::vector<double> times, values;
};

inline Verdict judged(const plain::Side& baseline, const plain::Side& other,
                      const Given& given = {}) {
  return compare(OwnedSeries(baseline).view, OwnedSeries(other).view, given.settings,
                 given.options);
}

inline Verdict judged(const Signal& baseline, const Signal& other, const Given& given = {}) {
  return judged(sideOf(baseline.times, baseline.values), sideOf(other.times, other.values), given);
}

inline Aligned aligned(const Signal& baseline, const Signal& other, const Given& given = {}) {
  Aligned aligned;
  align(OwnedSeries(baseline.times, baseline.values).view,
        OwnedSeries(other.times, other.values).view, given.settings, given.options, aligned);
  return aligned;
}

// Times without meaning for tests of values alone.
inline std::vector<double> counting(std::size_t count) {
  std::vector<double> times;
  for (std::size_t i = 0; i < count; ++i) times.push_back(static_cast<double>(i));
  return times;
}

inline Verdict judgedValues(const std::vector<double>& baseline, const std::vector<double>& other,
                            const Given& given = {}) {
  return judged(Signal{counting(baseline.size()), baseline}, Signal{counting(other.size()), other},
                given);
}

// Samples with imaginary parts or several components, one a unit of time.
inline plain::Side complexSide(const std::vector<std::complex<double>>& values) {
  plain::Side side;
  side.isComplex = true;
  side.times = counting(values.size());
  for (const auto& value : values) side.samples.push_back({value});
  return side;
}
inline plain::Side vectorSide(const std::vector<std::vector<double>>& samples) {
  plain::Side side;
  side.times = counting(samples.size());
  side.components = samples.empty() ? 1 : samples[0].size();
  for (const auto& sample : samples) side.samples.emplace_back(sample.begin(), sample.end());
  return side;
}

}  // namespace kvr::compare::test
