#include "python/kvr/src/store_record.h"

#include <cstdint>
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
  const char* key;  // in the record
  FieldKind kind;
};

// In the order of Facts.
constexpr std::array<Field, Facts::names.size()> fieldTable{{
    {"RunID", FieldKind::kNumber},
    {"SignalLabel", FieldKind::kText},
    {"BlockSource", FieldKind::kText},
    {"ModelSource", FieldKind::kText},
    {"DataSource", FieldKind::kText},
    {"RootSource", FieldKind::kText},
    {"TimeSource", FieldKind::kText},
    {"PortIndex", FieldKind::kNumber},
    {"Channel", FieldKind::kNumbers},
    {"SID", FieldKind::kText},
}};

PyObject* keyOf(std::size_t field) {
  static const auto& keys = *new auto([] {
    std::array<PyObject*, fieldTable.size()> made;
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = interned(fieldTable[i].key);
    return made;
  }());
  return keys[field];
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

}  // namespace

PyObject* interned(const char* text) {
  PyObject* const made = PyUnicode_InternFromString(text);
  if (made == nullptr) throw py::error_already_set();
  return made;
}

py::object valueIn(const py::dict& record, PyObject* key) {
  PyObject* const value = PyDict_GetItemWithError(record.ptr(), key);
  if (value == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
  return py::reinterpret_borrow<py::object>(value);
}

std::optional<Facts> factsIn(const py::dict& record) {
  Facts facts;
  for (std::size_t i = 0; i < fieldTable.size(); ++i) {
    facts.values[i] = fieldOf(valueIn(record, keyOf(i)), fieldTable[i].kind);
    if (!facts.values[i]) return std::nullopt;
  }
  return facts;
}

std::optional<HeldSeries> seriesIn(const py::dict& record, const py::type& seriesType) {
  static PyObject* const dataValues = interned("DataValues");
  static PyObject* const time = interned("Time");
  static PyObject* const data = interned("Data");
  const py::object source = valueIn(record, dataValues);
  if (!source || Py_TYPE(source.ptr()) != reinterpret_cast<PyTypeObject*>(seriesType.ptr()))
    return std::nullopt;
  HeldSeries held;
  held.times = attributeOf(source, time);
  held.values = attributeOf(source, data);
  const auto times = vectorIn(held.times);
  const auto values = vectorIn(held.values);
  if (!times || !values || times->numericClass == NumericClass::kLogical) return std::nullopt;
  held.series.times = *times;
  held.series.values = *values;
  const auto count = py::reinterpret_borrow<py::array>(held.times).size();
  if (py::reinterpret_borrow<py::array>(held.values).size() != count) return std::nullopt;
  held.series.timeCount = held.series.samples = static_cast<std::size_t>(count);
  return held;
}

}  // namespace kvr::python
