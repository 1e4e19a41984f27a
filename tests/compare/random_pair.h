// Pairs of series with settings, made from choices: few distinct times and values, so that equal
// times, events, equal values and borders of tolerance come up often.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "tests/compare/owned_series.h"

namespace kvr::compare::test {

// Answers from 0 to `count` - 1.
using Choose = std::function<int(int count)>;

struct RandomPair {
  plain::Side baseline, other;
  Layout baselineTimes, baselineValues, otherTimes, otherValues;
  Settings settings;
  Options options;
  std::size_t mostScanned = 0;  // as `Comparison` takes it

  std::string describe() const;
};

RandomPair randomPair(const Choose& choose);

// Empty if the library judges the pair as the plain model does.
std::string disagreement(const RandomPair& pair);

}  // namespace kvr::compare::test
