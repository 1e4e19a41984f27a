#include "compare/common_span.h"

#include <algorithm>
#include <cmath>

#include "compare/shape.h"

namespace kvr::compare {

CommonSpan commonSpan(const Times& baseline, const Times& other) {
  CommonSpan span;
  if (baseline.count() == 0 || other.count() == 0) return span;
  span.start = std::max(baseline.first(), other.first());
  span.end = std::min(baseline.last(), other.last());
  span.exists = span.start <= span.end;
  if (!span.exists) return span;
  span.baseline = {baseline.countBefore(span.start), baseline.countUpTo(span.end)};
  span.other = {other.countBefore(span.start), other.countUpTo(span.end)};
  return span;
}

namespace {

bool hasNumber(const Series& series, std::size_t sample, std::size_t components) {
  const Numbers& values = series.values;
  for (std::size_t c = 0; c < components; ++c) {
    const bool isNumber =
        !std::isnan(numberAt(values, sample, c)) &&
        (values.imaginary == nullptr || !std::isnan(numberAt(values, sample, c, Part::kImaginary)));
    if (isNumber) return true;
  }
  return false;
}

bool isNear(double t, const CommonSpan& span, double timeTolerance) {
  if (!span.exists) return false;
  return (t < span.start ? span.start - t : t - span.end) <= timeTolerance;
}

}  // namespace

std::size_t countUncovered(const Series& baseline, const Times& times, const CommonSpan& span,
                           const ToleranceRule& rule, const Options& options) {
  const std::size_t components = componentsOf(baseline.shape);
  std::size_t uncovered = 0;
  const auto count = [&](SampleRange range) {
    for (std::size_t i = range.begin; i < range.end; ++i) {
      if (i % kBlock == 0) pollStop(options);
      const double t = times.at(i);
      if (!rule.judges(t) || isNear(t, span, options.timeTolerance)) continue;
      if (hasNumber(baseline, i, components)) ++uncovered;
    }
  };
  count({0, span.baseline.begin});
  count({span.baseline.end, times.count()});
  return uncovered;
}

}  // namespace kvr::compare
