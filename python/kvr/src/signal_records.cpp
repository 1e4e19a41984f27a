#include "python/kvr/src/signal_records.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace kvr::python {
namespace {

namespace py = pybind11;

std::size_t bytesOf(const HeldSeries& held) {
  return static_cast<std::size_t>(py::reinterpret_borrow<py::array>(held.times).nbytes() +
                                  py::reinterpret_borrow<py::array>(held.values).nbytes());
}

}  // namespace

bool SignalRecords::add(const py::dict& record, std::ptrdiff_t mostBytes) {
  auto facts = factsIn(record);
  auto held = facts ? seriesIn(record, seriesType_) : std::nullopt;
  if (!held) return false;
  Entry entry{std::move(*facts), {}, static_cast<std::ptrdiff_t>(bytes_) < mostBytes};
  if (entry.hasSeries) {
    bytes_ += bytesOf(*held);
    entry.held = std::move(*held);
  }
  entries_.push_back(std::move(entry));
  return true;
}

py::list SignalRecords::column(const std::string& field) const {
  const auto* const found = std::find(Facts::names.begin(), Facts::names.end(), field);
  if (found == Facts::names.end()) throw std::invalid_argument("no field " + field);
  const auto index = static_cast<std::size_t>(found - Facts::names.begin());
  py::list values(entries_.size());
  for (std::size_t place = 0; place < entries_.size(); ++place) {
    const py::object& value = entries_[place].facts.values[index];
    values[place] = value ? value : py::object(py::none());
  }
  return values;
}

py::tuple SignalRecords::facts(std::size_t place) const {
  const auto& values = entries_.at(place).facts.values;
  py::tuple facts(values.size());
  for (std::size_t i = 0; i < values.size(); ++i)
    facts[i] = values[i] ? values[i] : py::object(py::none());
  return facts;
}

py::list SignalRecords::samples() const {
  py::list counts(entries_.size());
  for (std::size_t place = 0; place < entries_.size(); ++place) {
    const Entry& entry = entries_[place];
    const auto samples = static_cast<std::ptrdiff_t>(entry.held.series.samples);
    counts[place] = py::int_(entry.hasSeries ? samples : -1);
  }
  return counts;
}

void SignalRecords::dropSeries() {
  // They go when all entries are in order: what lets go of an array may come back to this object.
  std::vector<HeldSeries> dropped;
  dropped.reserve(entries_.size());
  bytes_ = 0;
  for (Entry& entry : entries_) {
    entry.hasSeries = false;
    dropped.push_back(std::exchange(entry.held, HeldSeries()));
  }
}

const HeldSeries& SignalRecords::series(std::size_t place) const {
  const Entry& entry = entries_.at(place);
  if (!entry.hasSeries)
    throw std::out_of_range("the samples of signal " + std::to_string(place) + " are not held");
  return entry.held;
}

void defineSignalRecords(py::module_& module) {
  py::class_<SignalRecords>(module, "SignalRecords")
      .def(py::init<py::type>(), py::arg("series_type"))
      .def("__len__", &SignalRecords::size)
      .def("add", &SignalRecords::add, py::arg("record"), py::arg("most_bytes"))
      .def("add_nothing", &SignalRecords::addNothing)
      .def("column", &SignalRecords::column, py::arg("field"))
      .def("facts", &SignalRecords::facts, py::arg("place"))
      .def("samples", &SignalRecords::samples)
      .def("drop_series", &SignalRecords::dropSeries)
      .def_property_readonly("bytes", &SignalRecords::bytes);
}

}  // namespace kvr::python
