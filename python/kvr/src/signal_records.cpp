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

py::object SignalRecords::readTo(const py::object& read, const py::list& numbers, std::size_t end,
                                 std::ptrdiff_t mostBytes) {
  if (end > numbers.size()) throw std::out_of_range("fewer signals are numbered");
  while (entries_.size() < end) {
    PyObject* const number = PyList_GetItem(numbers.ptr(), static_cast<Py_ssize_t>(size()));
    if (number == nullptr) throw py::error_already_set();
    auto record = py::reinterpret_steal<py::object>(PyObject_CallOneArg(read.ptr(), number));
    if (!record) throw py::error_already_set();
    if (!py::isinstance<py::dict>(record) ||
        !add(py::reinterpret_borrow<py::dict>(record), mostBytes))
      return record;
  }
  return py::none();
}

py::list SignalRecords::column(const std::string& field, std::size_t first, std::size_t end) const {
  const auto* const found = std::find(Facts::names.begin(), Facts::names.end(), field);
  if (found == Facts::names.end()) throw std::invalid_argument("no field " + field);
  const auto index = static_cast<std::size_t>(found - Facts::names.begin());
  if (first > end || end > entries_.size()) throw std::out_of_range("there are no such places");
  py::list values(end - first);
  for (std::size_t place = first; place < end; ++place) {
    const py::object& value = entries_[place].facts.values[index];
    values[place - first] = value ? value : py::object(py::none());
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

void SignalRecords::drop(std::size_t place) {
  Entry& entry = entries_.at(place);
  if (!entry.hasSeries) return;
  entry.hasSeries = false;
  bytes_ -= bytesOf(entry.held);
  // It goes when the entry is in order: what lets go of an array may come back to this object.
  const HeldSeries dropped = std::exchange(entry.held, HeldSeries());
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
      .def("read_to", &SignalRecords::readTo, py::arg("read"), py::arg("numbers"), py::arg("end"),
           py::arg("most_bytes"))
      .def("column", &SignalRecords::column, py::arg("field"), py::arg("first"), py::arg("end"))
      .def("facts", &SignalRecords::facts, py::arg("place"))
      .def("holds", &SignalRecords::holds, py::arg("place"))
      .def("drop", &SignalRecords::drop, py::arg("place"))
      .def("drop_series", &SignalRecords::dropSeries)
      .def_property_readonly("bytes", &SignalRecords::bytes);
}

}  // namespace kvr::python
