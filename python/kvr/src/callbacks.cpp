#include "python/kvr/src/callbacks.h"

#include <pybind11/numpy.h>

#include <algorithm>
#include <complex>
#include <stdexcept>
#include <string>
#include <vector>

namespace kvr::python {
namespace {

namespace py = pybind11;
using Doubles = py::array_t<double, py::array::c_style>;

py::array readOnly(py::array array) {
  array.attr("setflags")(py::arg("write") = false);
  return array;
}

py::array vectorOf(std::span<const double> numbers) {
  return readOnly(Doubles(static_cast<py::ssize_t>(numbers.size()), numbers.data()));
}

py::array valuesOf(std::span<const double> real, std::span<const double> imaginary,
                   std::size_t components) {
  const auto columns = static_cast<py::ssize_t>(components);
  const auto rows = components == 0 ? 0 : static_cast<py::ssize_t>(real.size()) / columns;
  if (imaginary.empty()) return readOnly(Doubles({rows, columns}, real.data()));
  py::array_t<std::complex<double>> values({rows, columns});
  std::transform(real.begin(), real.end(), imaginary.begin(), values.mutable_data(),
                 [](double re, double im) { return std::complex<double>(re, im); });
  return readOnly(std::move(values));
}

std::vector<double> numbersOf(const py::object& answer) {
  const auto array = answer.cast<Doubles>();
  return {array.data(), array.data() + array.size()};
}

// "ValueError: text", on one line whatever the text is.
std::string textOf(const py::error_already_set& error) {
  std::string text = error.type().attr("__name__").cast<std::string>();
  const auto said = py::str(error.value()).attr("splitlines")().cast<py::list>();
  if (!said.empty()) text += ": " + said[0].attr("encode")("utf-8", "replace").cast<std::string>();
  return text;
}

// Calls back into Python. An error of the function becomes one of the comparison.
template <class Call>
std::vector<double> guarded(Interruption& interruption, const Call& call) {
  const py::gil_scoped_acquire lock;
  try {
    return numbersOf(call());
  } catch (const py::error_already_set& error) {
    if (!error.matches(PyExc_Exception)) {
      interruption.keep(error);
      throw compare::Stopped();
    }
    throw std::runtime_error(textOf(error));
  }
}

}  // namespace

compare::SyncFunction syncFunction(const py::object& function, Interruption& interruption) {
  if (function.is_none()) return {};
  return
      [&function, &interruption](std::span<const double> baseline, std::span<const double> other) {
        return guarded(interruption, [&] { return function(vectorOf(baseline), vectorOf(other)); });
      };
}

compare::ToleranceFunction toleranceFunction(const py::object& function,
                                             Interruption& interruption) {
  if (function.is_none()) return {};
  return [&function, &interruption](const compare::AtInstants& at) {
    return guarded(interruption, [&] {
      return function(vectorOf(at.instants),
                      valuesOf(at.baseline, at.baselineImaginary, at.components),
                      valuesOf(at.other, at.otherImaginary, at.components));
    });
  };
}

}  // namespace kvr::python
