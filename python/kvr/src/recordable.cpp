#include "python/kvr/src/recordable.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "python/kvr/src/recording_fields.h"

namespace kvr::python {
namespace {

namespace py = pybind11;
using recording::Signal;

// False for a text with half a character: UTF-8 has none.
bool setText(std::string& to, const py::object& value) {
  if (!value || PyUnicode_CheckExact(value.ptr()) == 0) return false;
  Py_ssize_t size = 0;
  const char* const text = PyUnicode_AsUTF8AndSize(value.ptr(), &size);
  if (text == nullptr) {
    if (PyErr_ExceptionMatches(PyExc_UnicodeEncodeError) == 0) throw py::error_already_set();
    PyErr_Clear();
    return false;
  }
  to.assign(text, static_cast<std::size_t>(size));
  return true;
}

bool setNumber(std::int32_t& to, const py::handle& value) {
  int overflow = 0;
  const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
  using Limits = std::numeric_limits<std::int32_t>;
  if (overflow != 0 || number < Limits::min() || number > Limits::max()) return false;
  to = static_cast<std::int32_t>(number);
  return true;
}

bool setNames(Signal& signal, const Facts& facts) {
  const auto& [run, label, path, model, source, rootSource, timeSource, port, channel, sid] =
      facts.values;
  if (!setText(signal.label, label) || !setText(signal.path, path) ||
      !setText(signal.model, model) || !setText(signal.source, source) ||
      !setText(signal.rootSource, rootSource) || !setText(signal.timeSource, timeSource) ||
      !setText(signal.sid, sid) || !setNumber(signal.port, port))
    return false;
  const auto numbers = py::reinterpret_borrow<py::tuple>(channel);
  signal.channel.resize(numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i)
    if (!setNumber(signal.channel[i], numbers[i])) return false;
  return true;
}

bool setLooks(Signal& signal, const py::dict& record) {
  static PyObject* const lineColor = interned("LineColor");
  static PyObject* const lineDashed = interned("LineDashed");
  const py::object color = valueIn(record, lineColor);
  if (!color || !py::isinstance<py::array_t<double, py::array::c_style>>(color)) return false;
  const auto parts = py::reinterpret_borrow<py::array>(color);
  if (parts.size() != static_cast<py::ssize_t>(signal.color.size())) return false;
  std::copy_n(static_cast<const double*>(parts.data()), signal.color.size(), signal.color.begin());
  return setText(signal.dash, valueIn(record, lineDashed));
}

// The numbers of a matrix of one row or one column as samples without a shape.
std::optional<recording::Samples> samplesIn(const py::object& value) {
  const auto array = py::reinterpret_borrow<py::array>(value);
  if ((array.flags() & py::array::c_style) == 0) return std::nullopt;
  recording::Samples samples = samplesOf(array);
  samples.count = static_cast<std::uint64_t>(array.size());
  samples.shape.clear();
  return samples;
}

}  // namespace

std::optional<Recordable> recordableIn(const py::dict& record, const py::type& seriesType) {
  Recordable found;
  const auto facts = factsIn(record);
  if (!facts || !setNames(found.signal, *facts) || !setLooks(found.signal, record))
    return std::nullopt;
  auto held = seriesIn(record, seriesType);
  if (!held) return std::nullopt;
  const auto times = samplesIn(held->times);
  const auto values = samplesIn(held->values);
  if (!times || !values) return std::nullopt;
  found.times = *times;
  found.values = *values;
  found.held = std::move(*held);
  return found;
}

}  // namespace kvr::python
