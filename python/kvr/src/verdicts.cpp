#include "python/kvr/src/verdicts.h"

#include <pybind11/complex.h>
#include <pybind11/numpy.h>

#include <complex>
#include <optional>
#include <vector>

namespace kvr::python {
namespace {

namespace py = pybind11;

py::object numberOf(const std::optional<double>& number) {
  return number ? py::object(py::float_(*number)) : py::none();
}

py::object numberOf(const std::complex<double>& number, bool isComplex) {
  return isComplex ? py::cast(number) : py::object(py::float_(number.real()));
}

py::object worstOf(const compare::Verdict& verdict) {
  if (!verdict.worst) return py::none();
  const compare::ValueOut& worst = *verdict.worst;
  return py::make_tuple(worst.time, numberOf(worst.baseline, verdict.complexBaseline),
                        numberOf(worst.other, verdict.complexOther), worst.difference,
                        worst.tolerance, worst.component);
}

py::list intervalsOf(const compare::Verdict& verdict) {
  py::list intervals;
  for (const compare::Interval& interval : verdict.intervals)
    intervals.append(py::make_tuple(interval.first, interval.last, interval.count));
  return intervals;
}

// Values of `components` an instant as a matrix that owns a copy.
template <class T>
py::array matrixOf(const std::vector<T>& values, std::size_t instants, std::size_t components) {
  return py::array_t<T>({static_cast<py::ssize_t>(instants), static_cast<py::ssize_t>(components)},
                        values.data());
}

py::array matrixOf(const std::vector<double>& real, const std::vector<double>& imaginary,
                   std::size_t instants, std::size_t components) {
  if (imaginary.empty()) return matrixOf(real, instants, components);
  std::vector<std::complex<double>> values(real.size());
  for (std::size_t i = 0; i < real.size(); ++i) values[i] = {real[i], imaginary[i]};
  return matrixOf(values, instants, components);
}

}  // namespace

py::dict dictOf(const compare::Verdict& verdict, const std::string& text) {
  py::dict fields;
  fields["status"] = compare::nameOf(verdict.status);
  const bool judged = verdict.reason == compare::Reason::kNone;
  fields["reason"] = judged ? py::object(py::none()) : py::str(compare::nameOf(verdict.reason));
  fields["instants"] = verdict.instants;
  fields["instants_out"] = verdict.instantsOut;
  fields["judged"] = verdict.judged;
  fields["out"] = verdict.out;
  fields["lost"] = verdict.lost;
  fields["gained"] = verdict.gained;
  fields["gaps"] = verdict.gaps;
  fields["outside"] = verdict.outside;
  fields["uncovered"] = verdict.uncovered;
  fields["beyond"] = verdict.beyond;
  fields["first_out"] = numberOf(verdict.firstOut);
  fields["last_out"] = numberOf(verdict.lastOut);
  fields["worst"] = worstOf(verdict);
  fields["max_difference"] = verdict.maxDifference;
  fields["max_difference_time"] = numberOf(verdict.maxDifferenceTime);
  fields["max_relative"] = verdict.maxRelative;
  fields["max_relative_time"] = numberOf(verdict.maxRelativeTime);
  fields["rms"] = verdict.rms;
  fields["intervals"] = intervalsOf(verdict);
  fields["intervals_total"] = verdict.intervalsTotal;
  fields["text"] = py::reinterpret_steal<py::object>(
      PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "replace"));
  return fields;
}

py::tuple tupleOf(const compare::Aligned& aligned) {
  const std::size_t count = aligned.instants.size();
  const std::size_t components = aligned.components;
  return py::make_tuple(
      py::array_t<double>(static_cast<py::ssize_t>(count), aligned.instants.data()),
      matrixOf(aligned.baseline, aligned.baselineImaginary, count, components),
      matrixOf(aligned.other, aligned.otherImaginary, count, components),
      matrixOf(aligned.difference, count, components),
      matrixOf(aligned.tolerance, count, components), matrixOf(aligned.out, count, components));
}

}  // namespace kvr::python
