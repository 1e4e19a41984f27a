#include "python/kvr/src/thinned.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "thinning/thinning.h"

namespace kvr::python {
namespace {

namespace py = pybind11;
using thinning::Thinned;

// Fails with TypeError for other numbers than doubles, with ValueError for another layout.
std::span<const double> doublesOf(const py::array& array, const std::string& name) {
  if (!array.dtype().equal(py::dtype::of<double>()))
    throw py::type_error(name + ": " + py::str(array.dtype()).cast<std::string>() +
                         " in place of float64");
  constexpr int kAligned = py::detail::npy_api::NPY_ARRAY_ALIGNED_;
  if (array.ndim() != 1 || (array.flags() & py::array::c_style) == 0 ||
      (array.flags() & kAligned) == 0)
    throw std::invalid_argument(name + ": not a contiguous array of one dimension");
  return {static_cast<const double*>(array.data()), static_cast<std::size_t>(array.size())};
}

std::vector<std::size_t> indicesOf(const std::vector<std::int64_t>& given) {
  std::vector<std::size_t> indices;
  indices.reserve(given.size());
  for (const std::int64_t index : given) {
    if (index < 0) throw py::index_error("there is no sample " + std::to_string(index));
    indices.push_back(static_cast<std::size_t>(index));
  }
  return indices;
}

class ThinnedArrays {
 public:
  ThinnedArrays(py::array times, py::array values)
      : times_(std::move(times)), values_(std::move(values)) {
    const auto timeSpan = doublesOf(times_, "time");
    const auto valueSpan = doublesOf(values_, "values");
    const py::gil_scoped_release others;
    thinned_ = std::make_unique<const Thinned>(timeSpan, valueSpan);
  }

  py::array_t<std::int64_t> window(double first, double last, std::size_t columns,
                                   const std::vector<std::int64_t>& keep) const {
    const std::vector<std::size_t> further = indicesOf(keep);
    std::vector<std::size_t> kept;
    {
      const py::gil_scoped_release others;
      kept = thinned_->window(first, last, columns, further);
    }
    py::array_t<std::int64_t> indices(static_cast<py::ssize_t>(kept.size()));
    std::copy(kept.begin(), kept.end(), indices.mutable_data());
    return indices;
  }

  py::object extremes(std::int64_t first, std::int64_t last) const {
    const std::vector<std::size_t> ends = indicesOf({first, last});
    const auto found = thinned_->extremes(ends[0], ends[1]);
    if (!found) return py::none();
    return py::make_tuple(found->minimum, found->maximum);
  }

  std::size_t samples() const { return thinned_->samples(); }

 private:
  py::array times_;
  py::array values_;
  std::unique_ptr<const Thinned> thinned_;
};

}  // namespace

void defineThinned(py::module_& module) {
  py::class_<ThinnedArrays>(module, "Thinned")
      .def(py::init<py::array, py::array>(), py::arg("time").noconvert(),
           py::arg("values").noconvert())
      .def("__len__", &ThinnedArrays::samples)
      .def("window", &ThinnedArrays::window, py::arg("first_time"), py::arg("last_time"),
           py::arg("columns"), py::arg("keep") = std::vector<std::int64_t>())
      .def("extremes", &ThinnedArrays::extremes, py::arg("first"), py::arg("last"));
}

}  // namespace kvr::python
