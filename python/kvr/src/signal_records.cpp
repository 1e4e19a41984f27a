#include "python/kvr/src/signal_records.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

namespace kvr::python {
namespace {

namespace py = pybind11;
using compare::NumericClass;

// How a value of the record becomes a field of Facts.
enum class FieldKind {
  kText,
  kNumber,   // the first of several, 0 if there is none
  kNumbers,  // a tuple
};

struct Field {
  const char* name;  // in Facts
  const char* key;   // in the record
  FieldKind kind;
};

// In the order of Facts.
constexpr std::array<Field, 10> fieldTable{{
    {"run", "RunID", FieldKind::kNumber},
    {"label", "SignalLabel", FieldKind::kText},
    {"path", "BlockSource", FieldKind::kText},
    {"model", "ModelSource", FieldKind::kText},
    {"source", "DataSource", FieldKind::kText},
    {"root_source", "RootSource", FieldKind::kText},
    {"time_source", "TimeSource", FieldKind::kText},
    {"port", "PortIndex", FieldKind::kNumber},
    {"channel", "Channel", FieldKind::kNumbers},
    {"sid", "SID", FieldKind::kText},
}};

// Texts that dictionaries find by their address, made once; never freed.
PyObject* interned(const char* text) { return PyUnicode_InternFromString(text); }

PyObject* keyOf(std::size_t field) {
  static const auto& keys = *new auto([] {
    std::array<PyObject*, fieldTable.size()> made;
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = interned(fieldTable[i].key);
    return made;
  }());
  return keys[field];
}

// The value, or a null object; borrowed by the record.
py::object valueIn(const py::dict& record, PyObject* key) {
  PyObject* const value = PyDict_GetItemWithError(record.ptr(), key);
  if (value == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return py::reinterpret_borrow<py::object>(value);
}

// An int for a scalar of an integer class, else a null object.
py::object integerOf(const py::object& value) {
  if (PyIndex_Check(value.ptr()) == 0 || py::isinstance<py::array>(value)) return {};
  return py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
}

// A tuple of ints for a scalar or an array of an integer class, else a null object.
py::object integersOf(const py::object& value) {
  if (!py::isinstance<py::array>(value)) {
    const py::object integer = integerOf(value);
    return integer ? py::object(py::make_tuple(integer)) : py::object();
  }
  const auto array = py::reinterpret_borrow<py::array>(value);
  if (array.size() == 0) return py::tuple();
  const char kind = array.dtype().kind();
  if (kind != 'i' && kind != 'u') return {};
  return py::tuple(value.attr("ravel")().attr("tolist")());
}

py::object fieldOf(const py::object& value, FieldKind kind) {
  if (!value) return {};
  if (kind == FieldKind::kText) return PyUnicode_CheckExact(value.ptr()) ? value : py::object();
  const bool isEmpty =
      py::isinstance<py::array>(value) && py::reinterpret_borrow<py::array>(value).size() == 0;
  if (kind == FieldKind::kNumbers) return integersOf(value);
  return isEmpty ? py::object(py::int_(0)) : integerOf(value);
}

struct KnownType {
  PyObject* dtype;  // never freed, as NumPy's own types
  NumericClass numericClass;
};

template <class T>
KnownType knownType(NumericClass numericClass) {
  return {py::dtype::of<T>().release().ptr(), numericClass};
}

// NumPy has one object for each of its native types; other ones are left to the package.
std::optional<NumericClass> classOf(const py::array& array) {
  static const auto& known = *new auto(std::array{
      knownType<double>(NumericClass::kDouble),
      knownType<float>(NumericClass::kSingle),
      knownType<std::int8_t>(NumericClass::kInt8),
      knownType<std::uint8_t>(NumericClass::kUint8),
      knownType<std::int16_t>(NumericClass::kInt16),
      knownType<std::uint16_t>(NumericClass::kUint16),
      knownType<std::int32_t>(NumericClass::kInt32),
      knownType<std::uint32_t>(NumericClass::kUint32),
      knownType<std::int64_t>(NumericClass::kInt64),
      knownType<std::uint64_t>(NumericClass::kUint64),
      knownType<bool>(NumericClass::kLogical),
  });
  const py::dtype dtype = array.dtype();
  for (const KnownType& type : known)
    if (type.dtype == dtype.ptr()) return type.numericClass;
  return std::nullopt;
}

// The numbers of a matrix of one row or one column, which are not empty.
std::optional<compare::Numbers> vectorIn(const py::object& value) {
  if (!value || !py::isinstance<py::array>(value)) return std::nullopt;
  const auto array = py::reinterpret_borrow<py::array>(value);
  if (array.ndim() != 2 || array.size() == 0) return std::nullopt;
  if (array.shape(0) != 1 && array.shape(1) != 1) return std::nullopt;
  const auto numericClass = classOf(array);
  if (!numericClass) return std::nullopt;
  compare::Numbers numbers;
  numbers.real = array.data();
  numbers.numericClass = *numericClass;
  numbers.sampleStride = array.strides(array.shape(0) == 1 ? 1 : 0);
  numbers.componentStride = array.itemsize();
  return numbers;
}

// The attribute, or a null object if it cannot be read.
py::object attributeOf(const py::object& value, PyObject* name) {
  PyObject* const attribute = PyObject_GetAttr(value.ptr(), name);
  if (attribute == nullptr) PyErr_Clear();  // the package reads it again, and reports what is wrong
  return py::reinterpret_steal<py::object>(attribute);
}

std::size_t bytesOf(const SignalRecords::HeldSeries& held) {
  return static_cast<std::size_t>(py::reinterpret_borrow<py::array>(held.times).nbytes() +
                                  py::reinterpret_borrow<py::array>(held.values).nbytes());
}

}  // namespace

bool SignalRecords::readFields(const py::dict& record, Fields& fields) const {
  for (std::size_t i = 0; i < kFields; ++i) {
    fields[i] = fieldOf(valueIn(record, keyOf(i)), fieldTable[i].kind);
    if (!fields[i]) return false;
  }
  return true;
}

bool SignalRecords::readSeries(const py::dict& record, HeldSeries& held) const {
  static PyObject* const dataValues = interned("DataValues");
  static PyObject* const time = interned("Time");
  static PyObject* const data = interned("Data");
  const py::object source = valueIn(record, dataValues);
  if (!source || Py_TYPE(source.ptr()) != reinterpret_cast<PyTypeObject*>(seriesType_.ptr()))
    return false;
  held.times = attributeOf(source, time);
  held.values = attributeOf(source, data);
  const auto times = vectorIn(held.times);
  const auto values = vectorIn(held.values);
  if (!times || !values || times->numericClass == NumericClass::kLogical) return false;
  held.series.times = *times;
  held.series.values = *values;
  const auto count = py::reinterpret_borrow<py::array>(held.times).size();
  if (py::reinterpret_borrow<py::array>(held.values).size() != count) return false;
  held.series.timeCount = held.series.samples = static_cast<std::size_t>(count);
  return true;
}

bool SignalRecords::add(const py::dict& record, std::ptrdiff_t mostBytes) {
  Entry entry;
  if (!readFields(record, entry.fields) || !readSeries(record, entry.held)) return false;
  entry.hasSeries = static_cast<std::ptrdiff_t>(bytes_) < mostBytes;
  if (entry.hasSeries) {
    bytes_ += bytesOf(entry.held);
  } else {
    entry.held = {};
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
  const auto found = std::find_if(fieldTable.begin(), fieldTable.end(),
                                  [&](const Field& known) { return field == known.name; });
  if (found == fieldTable.end()) throw std::invalid_argument("no field " + field);
  if (first > end || end > entries_.size()) throw std::out_of_range("there are no such places");
  const auto index = static_cast<std::size_t>(found - fieldTable.begin());
  py::list values(end - first);
  for (std::size_t place = first; place < end; ++place) {
    const py::object& value = entries_[place].fields[index];
    values[place - first] = value ? value : py::object(py::none());
  }
  return values;
}

py::tuple SignalRecords::facts(std::size_t place) const {
  const Fields& fields = entries_.at(place).fields;
  py::tuple facts(kFields);
  for (std::size_t i = 0; i < kFields; ++i)
    facts[i] = fields[i] ? fields[i] : py::object(py::none());
  return facts;
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

const SignalRecords::HeldSeries& SignalRecords::series(std::size_t place) const {
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
      .def("drop_series", &SignalRecords::dropSeries)
      .def_property_readonly("bytes", &SignalRecords::bytes);
}

}  // namespace kvr::python
