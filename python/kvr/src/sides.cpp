#include "python/kvr/src/sides.h"

#include <pybind11/stl.h>

#include <stdexcept>
#include <string>

namespace kvr::python {
namespace {

namespace py = pybind11;
using compare::NumericClass;
using compare::Numbers;

// The class of real numbers of a kind of dtype and a size in bytes.
NumericClass classOf(char kind, py::ssize_t size) {
  switch (kind) {
    case 'b': return NumericClass::kLogical;
    case 'i':
      if (size == 1) return NumericClass::kInt8;
      if (size == 2) return NumericClass::kInt16;
      if (size == 4) return NumericClass::kInt32;
      if (size == 8) return NumericClass::kInt64;
      break;
    case 'u':
      if (size == 1) return NumericClass::kUint8;
      if (size == 2) return NumericClass::kUint16;
      if (size == 4) return NumericClass::kUint32;
      if (size == 8) return NumericClass::kUint64;
      break;
    case 'f':
      if (size == 4) return NumericClass::kSingle;
      if (size == 8) return NumericClass::kDouble;
      break;
    default: break;
  }
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
  if (times.ndim() != 1 || values.ndim() != 2)
    throw std::invalid_argument("times are a vector, values a matrix");
  series_.times = numbersOf(times);
  series_.timeCount = static_cast<std::size_t>(times.shape(0));
  series_.values = numbersOf(values);
  series_.samples = static_cast<std::size_t>(values.shape(0));
  series_.shape = shape_;
}

}  // namespace kvr::python
