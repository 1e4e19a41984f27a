// Which pixels a line through some samples of a series covers.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "tests/thinning/random_series.h"

namespace kvr::thinning::test {

// From the lowest to the highest value, at any height.
using Stretch = std::pair<double, double>;

// Of each column what is covered, as stretches apart from each other, rising.
using Raster = std::vector<std::vector<Stretch>>;

enum class Join {
  kStraight,
  kStep  // holds a value to the next time
};

// The line through the samples of these indices, broken at NaN, in a finite window.
Raster drawn(const Samples& samples, const std::vector<std::size_t>& indices, const Viewed& window,
             Join join);

}  // namespace kvr::thinning::test
