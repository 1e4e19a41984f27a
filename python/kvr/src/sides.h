// One side of a comparison, as the package hands it over.
#pragma once

#include <pybind11/numpy.h>

#include <cstddef>
#include <vector>

#include "compare/compare.h"

namespace kvr::python {

// A view of NumPy arrays that the caller keeps alive.
class Side {
 public:
  // `given` is the package's Side: content, clock, times (n,), values (n,) or (n, m) and the shape
  // of a sample; the arrays have native numeric classes. Fails with std::invalid_argument for
  // others.
  explicit Side(const pybind11::tuple& given);
  Side(const Side&) = delete;
  Side& operator=(const Side&) = delete;

  const compare::Series& series() const { return series_; }

 private:
  compare::Series series_;
  std::vector<std::size_t> shape_;
};

}  // namespace kvr::python
