// The time that both sides cover, and the samples outside it.
#pragma once

#include <cstddef>

#include "compare/times.h"
#include "compare/tolerance_rule.h"

namespace kvr::compare {

// Samples from `begin` up to but not including `end`.
struct SampleRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

struct CommonSpan {
  bool exists = false;
  double start = 0.0;
  double end = 0.0;
  SampleRange baseline, other;  // the samples within; empty without a span
};

// Safe on times that are unchecked; means something once they are checked.
CommonSpan commonSpan(const Times& baseline, const Times& other);

// How many baseline samples outside the span have a number in them, at a time that is judged and
// further than the time tolerance from the span. The times must be checked.
std::size_t countUncovered(const Series& baseline, const Times& times, const CommonSpan& span,
                           const ToleranceRule& rule, const Options& options);

}  // namespace kvr::compare
