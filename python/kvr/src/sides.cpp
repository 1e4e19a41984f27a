#include "python/kvr/src/sides.h"

#include <pybind11/stl.h>

#include <array>
#include <stdexcept>
#include <string>

namespace kvr::python {
namespace {

namespace py = pybind11;
using compare::Numbers;
using compare::NumericClass;

struct RealClass {
  char kind;  // of the dtype
  py::ssize_t size;
  NumericClass numericClass;
};

constexpr std::array<RealClass, 11> realClasses{{
    {'b', 1, NumericClass::kLogical},
    {'i', 1, NumericClass::kInt8},
    {'i', 2, NumericClass::kInt16},
    {'i', 4, NumericClass::kInt32},
    {'i', 8, NumericClass::kInt64},
    {'u', 1, NumericClass::kUint8},
    {'u', 2, NumericClass::kUint16},
    {'u', 4, NumericClass::kUint32},
    {'u', 8, NumericClass::kUint64},
    {'f', 4, NumericClass::kSingle},
    {'f', 8, NumericClass::kDouble},
}};

NumericClass classOf(char kind, py::ssize_t size) {
  for (const RealClass& known : realClasses)
    if (known.kind == kind && known.size == size) return known.numericClass;
  throw std::invalid_argument(std::string("no numbers to compare: dtype kind ") + kind);
}

Numbers numbersOf(const py::array& array) {
  Numbers numbers;
  const char kind = array.dtype().kind();
  const py::ssize_t size = array.itemsize();
  numbers.real = array.data();
  if (kind == 'c') {
    numbers.numericClass = classOf('f', size / 2);
    numbers.imaginary = static_cast<const std::byte*>(array.data()) + size / 2;
  } else {
    numbers.numericClass = classOf(kind, size);
  }
  numbers.sampleStride = array.strides(0);
  numbers.componentStride = array.ndim() > 1 ? array.strides(1) : size;
  return numbers;
}

}  // namespace

Side::Side(const py::tuple& given) : shape_(given[4].cast<std::vector<std::size_t>>()) {
  series_.content = static_cast<compare::Content>(given[0].cast<int>());
  series_.clock = static_cast<compare::Clock>(given[1].cast<int>());
  const auto times = given[2].cast<py::array>();
  const auto values = given[3].cast<py::array>();
  if (times.ndim() != 1 || values.ndim() < 1 || values.ndim() > 2)
    throw std::invalid_argument("times are a vector, values a vector or a matrix");
  series_.times = numbersOf(times);
  series_.timeCount = static_cast<std::size_t>(times.shape(0));
  series_.values = numbersOf(values);
  series_.samples = static_cast<std::size_t>(values.shape(0));
  series_.shape = shape_;
}

}  // namespace kvr::python
