#include "python/src/numbers_in.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/numpy_classes.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

NumberKind kindOfNumpyScalar(PyObject* value) {
  const Ref dtype = checked(reinterpret_cast<PyObject*>(PyArray_DescrFromScalar(value)));
  const auto* descr = reinterpret_cast<const PyArray_Descr*>(dtype.ptr());
  const int classID = classOfDtype(descr);
  if (classID == vrUNKNOWN_CLASS || classID == vrCHAR_CLASS) return NumberKind::None;
  switch (descr->kind) {
    case 'b':
      return NumberKind::Boolean;
    case 'f':
      return NumberKind::Real;
    case 'c':
      return NumberKind::Complex;
    default:
      return NumberKind::Integer;
  }
}

// A whole number that fits a 64-bit word: int64, or uint64 if it is huge.
struct Word {
  std::uint64_t bits;
  bool isHuge;
};

bool isNegative(Word word) { return !word.isHuge && static_cast<std::int64_t>(word.bits) < 0; }

bool fitsInt32(Word word) {
  const auto number = static_cast<std::int64_t>(word.bits);
  return !word.isHuge && number >= std::numeric_limits<std::int32_t>::min() &&
         number <= std::numeric_limits<std::int32_t>::max();
}

[[noreturn]] void refuseTooLarge() {
  throw CallRefused("TooLarge", "an int that fits neither int64 nor uint64 has no host array");
}

Word readInteger(PyObject* value) {
  const Ref held = checked(PyNumber_Index(value));  // a NumPy integer becomes an int
  PyObject* number = held.ptr();
  int overflow = 0;
  const long long signedValue = PyLong_AsLongLongAndOverflow(number, &overflow);
  if (signedValue == -1 && overflow == 0 && PyErr_Occurred() != nullptr) throw PythonErrorSet();
  if (overflow == 0) return {static_cast<std::uint64_t>(signedValue), false};
  if (overflow < 0) refuseTooLarge();
  const unsigned long long unsignedValue = PyLong_AsUnsignedLongLong(number);
  if (PyErr_Occurred() != nullptr) {
    if (PyErr_ExceptionMatches(PyExc_OverflowError) == 0) throw PythonErrorSet();
    PyErr_Clear();
    refuseTooLarge();
  }
  return {unsignedValue, true};
}

// The class that holds all of the words.
int classOfIntegers(const std::vector<Word>& words) {
  if (std::any_of(words.begin(), words.end(), [](Word word) { return word.isHuge; })) {
    if (std::any_of(words.begin(), words.end(), isNegative)) {
      throw CallRefused("TooLarge", "ints of a list fit neither int64 nor uint64 together");
    }
    return vrUINT64_CLASS;
  }
  return std::all_of(words.begin(), words.end(), fitsInt32) ? vrINT32_CLASS : vrINT64_CLASS;
}

// The low bytes of a word are its value in every integer class that holds it.
void putWord(vrArray* array, std::size_t index, Word word) {
  const std::size_t size = vrGetElementSize(array);
  std::memcpy(static_cast<char*>(vrGetData(array)) + index * size, &word.bits, size);
}

double realPart(PyObject* number) {
  const double real = PyFloat_AsDouble(number);
  if (real == -1.0 && PyErr_Occurred() != nullptr) {
    if (PyErr_ExceptionMatches(PyExc_OverflowError) == 0) throw PythonErrorSet();
    PyErr_Clear();
    throw CallRefused("TooLarge", "an int that is out of double's range has no host array");
  }
  return real;
}

Py_complex complexNumber(PyObject* number) {
  if (kindOfNumber(number) != NumberKind::Complex) return {realPart(number), 0.0};
  const Py_complex value = PyComplex_AsCComplex(number);
  if (value.real == -1.0 && PyErr_Occurred() != nullptr) throw PythonErrorSet();
  return value;
}

std::size_t countOf(PyObject* tuple) { return static_cast<std::size_t>(PyTuple_GET_SIZE(tuple)); }

OwnedArray logicalRow(PyObject* tuple) {
  OwnedArray row = makeNumeric(1, countOf(tuple), vrLOGICAL_CLASS);
  auto* truths = static_cast<std::uint8_t*>(vrGetData(row.get()));
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    const int truth = PyObject_IsTrue(PyTuple_GET_ITEM(tuple, i));
    checked(truth);
    truths[i] = static_cast<std::uint8_t>(truth);
  }
  return row;
}

OwnedArray integerRow(PyObject* tuple) {
  std::vector<Word> words(countOf(tuple));
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = readInteger(PyTuple_GET_ITEM(tuple, static_cast<Py_ssize_t>(i)));
  }
  OwnedArray row = makeNumeric(1, words.size(), classOfIntegers(words));
  for (std::size_t i = 0; i < words.size(); ++i) putWord(row.get(), i, words[i]);
  return row;
}

OwnedArray realRow(PyObject* tuple) {
  OwnedArray row = makeNumeric(1, countOf(tuple), vrDOUBLE_CLASS);
  auto* reals = static_cast<double*>(vrGetData(row.get()));
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    reals[i] = realPart(PyTuple_GET_ITEM(tuple, i));
  }
  return row;
}

OwnedArray complexRow(PyObject* tuple) {
  OwnedArray row = makeNumeric(1, countOf(tuple), vrDOUBLE_CLASS, true);
  auto* reals = static_cast<double*>(vrGetData(row.get()));
  auto* imaginaries = static_cast<double*>(vrGetImagData(row.get()));
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    const Py_complex number = complexNumber(PyTuple_GET_ITEM(tuple, i));
    reals[i] = number.real;
    imaginaries[i] = number.imag;
  }
  return row;
}

OwnedArray integerScalar(PyObject* value) {
  const Word word = readInteger(value);
  const int narrow = fitsInt32(word) ? vrINT32_CLASS : vrINT64_CLASS;
  OwnedArray scalar = makeNumeric(1, 1, word.isHuge ? vrUINT64_CLASS : narrow);
  putWord(scalar.get(), 0, word);
  return scalar;
}

OwnedArray complexScalar(PyObject* value) {
  const Py_complex number = complexNumber(value);
  OwnedArray scalar = makeNumeric(1, 1, vrDOUBLE_CLASS, true);
  *static_cast<double*>(vrGetData(scalar.get())) = number.real;
  *static_cast<double*>(vrGetImagData(scalar.get())) = number.imag;
  return scalar;
}

}  // namespace

NumberKind kindOfNumber(PyObject* value) {
  if (PyFloat_CheckExact(value)) return NumberKind::Real;
  if (PyLong_CheckExact(value)) return NumberKind::Integer;
  if (PyBool_Check(value)) return NumberKind::Boolean;
  if (PyArray_IsScalar(value, Generic)) return kindOfNumpyScalar(value);
  if (PyLong_Check(value)) return NumberKind::Integer;
  if (PyFloat_Check(value)) return NumberKind::Real;
  if (PyComplex_Check(value)) return NumberKind::Complex;
  return NumberKind::None;
}

OwnedArray numberScalar(PyObject* value) {
  switch (kindOfNumber(value)) {
    case NumberKind::Boolean:
      return OwnedArray(vrCreateLogicalScalar(value == Py_True));
    case NumberKind::Integer:
      return integerScalar(value);
    case NumberKind::Complex:
      return complexScalar(value);
    default:
      return OwnedArray(vrCreateDoubleScalar(realPart(value)));
  }
}

OwnedArray numberRow(PyObject* tuple) {
  NumberKind lowest = NumberKind::Complex;
  NumberKind highest = NumberKind::None;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    const NumberKind kind = kindOfNumber(PyTuple_GET_ITEM(tuple, i));
    lowest = std::min(lowest, kind);
    highest = std::max(highest, kind);
  }
  if (highest == NumberKind::Complex) return complexRow(tuple);
  if (lowest == NumberKind::Integer && highest == NumberKind::Integer) return integerRow(tuple);
  if (highest == NumberKind::Boolean) return logicalRow(tuple);
  return realRow(tuple);
}

}  // namespace vormel::python
