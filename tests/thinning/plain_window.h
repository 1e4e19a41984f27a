// What thinning.h says of a window, written as loops over all samples.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "tests/thinning/random_series.h"
#include "thinning/extremes_tree.h"

namespace kvr::thinning::test {

// With finite ends, as thinning.h replaces infinite ones.
Viewed finiteWindow(const Samples& samples, const Viewed& window);

// Where column `column` of a finite window begins.
double edgeOf(const Viewed& window, std::size_t column);

// Number of the column that a time is in; -1 before the window, `columns` after it.
std::ptrdiff_t columnOf(const Viewed& window, double time);

struct PlainWindow {
  std::vector<std::size_t> kept;
  std::vector<std::size_t> crowded;  // columns of more pieces than are kept apart
  bool isThinned = false;
};

PlainWindow plainWindow(const Samples& samples, const Viewed& window);

std::optional<Extremes> plainExtremes(const std::vector<double>& values, std::size_t begin,
                                      std::size_t end);

}  // namespace kvr::thinning::test
