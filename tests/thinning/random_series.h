// Series and windows that show everything the thinning must keep.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/models/random.h"

namespace kvr::thinning::test {

struct Samples {
  std::vector<double> times, values;
};

struct Viewed {
  double first = 0.0, last = 0.0;
  std::size_t columns = 1;
};

// 0 to 20,000 samples: of even or uneven times, with or without events, gaps, infinities, equal
// values and infinite times.
Samples randomSamples(models::Random& random);

// A window with ends on, between and beyond the samples, of 1 to 5,000 columns.
Viewed randomWindow(models::Random& random, const Samples& samples);

std::string described(const Viewed& window);

}  // namespace kvr::thinning::test
