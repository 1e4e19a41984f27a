// The comparison of two series in the plainest form: every step searches whole vectors, nothing is
// kept from one instant to the next. What the library finds is held against it.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

#include "compare/compare.h"

namespace kvr::compare::plain {

using Sample = std::vector<std::complex<double>>;

struct Side {
  std::vector<double> times;
  std::vector<Sample> samples;  // as many as times, unless the series is broken
  std::size_t components = 1;
  bool isComplex = false;
};

// The verdict on two sides of numbers, without `failure`.
Verdict judge(const Side& baseline, const Side& other, const Settings& settings,
              const Options& options);

}  // namespace kvr::compare::plain
