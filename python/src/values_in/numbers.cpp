#include "python/src/values_in/numbers.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"
#include "python/src/base/host_value.h"
#include "python/src/base/number_classes.h"

namespace vormel::python {
namespace {

// ---- Kinds ----

Kind kindOfDtype(char kind) {
  switch (kind) {
    case 'b':
      return Kind::Boolean;
    case 'f':
      return Kind::Real;
    case 'c':
      return Kind::Complex;
    default:
      return Kind::Integer;
  }
}

// Of a NumPy scalar that the table does not list; NumpyScalar if its dtype is no class of numbers.
Kind kindOfOtherScalar(PyObject* value) {
  const Ref dtype = checked(reinterpret_cast<PyObject*>(PyArray_DescrFromScalar(value)));
  const auto* descr = reinterpret_cast<const PyArray_Descr*>(dtype.ptr());
  const int classID = classOfDtype(descr);
  const bool isNumber = classID != vrUNKNOWN_CLASS && classID != vrCHAR_CLASS;
  return isNumber ? kindOfDtype(descr->kind) : Kind::NumpyScalar;
}

Kind kindInRow(PyObject* item) {
  const Kind kind = kindOf(item);
  if (kind == Kind::NumpyNumber) return kindOfDtype(numberClassOfScalar(Py_TYPE(item))->kind);
  return kind == Kind::NumpyScalar ? kindOfOtherScalar(item) : kind;
}

// ---- Integers ----

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
  const Ref held = PyLong_Check(value) ? Ref() : checked(PyNumber_Index(value));  // of NumPy
  PyObject* number = held ? held.ptr() : value;
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

// ---- Real and imaginary parts ----

double realPart(PyObject* number) {
  if (PyFloat_CheckExact(number)) return PyFloat_AS_DOUBLE(number);
  const double real = PyFloat_AsDouble(number);
  if (real == -1.0 && PyErr_Occurred() != nullptr) {
    if (PyErr_ExceptionMatches(PyExc_OverflowError) == 0) throw PythonErrorSet();
    PyErr_Clear();
    throw CallRefused("TooLarge", "an int that is out of double's range has no host array");
  }
  return real;
}

Py_complex complexNumber(PyObject* number) {
  if (kindInRow(number) != Kind::Complex) return {realPart(number), 0.0};
  const Py_complex value = PyComplex_AsCComplex(number);
  if (value.real == -1.0 && PyErr_Occurred() != nullptr) throw PythonErrorSet();
  return value;
}

// ---- Rows ----

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

// ---- One number ----

Scalar integerScalar(PyObject* value) {
  const Word word = readInteger(value);
  if (fitsInt32(word)) {
    return {vrINT32_CLASS, sizeof(std::int32_t), static_cast<std::uint32_t>(word.bits)};
  }
  return {word.isHuge ? vrUINT64_CLASS : vrINT64_CLASS, sizeof(word.bits), word.bits};
}

Scalar realScalar(PyObject* value) {
  const double real = realPart(value);
  Scalar scalar{vrDOUBLE_CLASS, sizeof(real), 0};
  std::memcpy(&scalar.bits, &real, sizeof(real));
  return scalar;
}

Scalar numpyScalar(PyObject* value) {
  const NumberClass& number = *numberClassOfScalar(Py_TYPE(value));
  Scalar scalar{number.classID, number.size, 0};
  std::memcpy(&scalar.bits, reinterpret_cast<const char*>(value) + number.offset, number.size);
  return scalar;
}

}  // namespace

Kind kindOf(PyObject* value) {
  PyTypeObject* type = Py_TYPE(value);
  // What most arguments are goes first: an exact type is told by one comparison.
  if (type == &PyUnicode_Type) return Kind::Text;
  if (type == &PyFloat_Type) return Kind::Real;
  if (type == &PyLong_Type) return Kind::Integer;
  if (type == &PyBool_Type) return Kind::Boolean;
  if (value == Py_None) return Kind::None;
  if (isHostValue(value)) return Kind::HostValue;
  if (numberClassOfScalar(type) != nullptr) return Kind::NumpyNumber;
  if (PyList_Check(value) || PyTuple_Check(value)) return Kind::Sequence;
  if (PyDict_Check(value)) return Kind::Dict;
  if (PyArray_Check(value)) return Kind::NumpyArray;
  if (PyUnicode_Check(value)) return Kind::Text;
  if (PyArray_IsScalar(value, Generic)) return Kind::NumpyScalar;
  if (PyLong_Check(value)) return Kind::Integer;
  if (PyFloat_Check(value)) return Kind::Real;
  return PyComplex_Check(value) ? Kind::Complex : Kind::Other;
}

Scalar scalarOf(PyObject* value, Kind kind) {
  switch (kind) {
    case Kind::Boolean:
      return {vrLOGICAL_CLASS, 1, value == Py_True ? 1U : 0U};
    case Kind::Integer:
      return integerScalar(value);
    case Kind::NumpyNumber:
      return numpyScalar(value);
    default:
      return realScalar(value);
  }
}

OwnedArray scalarArray(const Scalar& scalar) {
  OwnedArray array = makeNumeric(1, 1, scalar.classID);
  std::memcpy(vrGetData(array.get()), &scalar.bits, scalar.size);
  return array;
}

OwnedArray complexScalar(PyObject* value) {
  const Py_complex number = complexNumber(value);
  OwnedArray scalar = makeNumeric(1, 1, vrDOUBLE_CLASS, true);
  *static_cast<double*>(vrGetData(scalar.get())) = number.real;
  *static_cast<double*>(vrGetImagData(scalar.get())) = number.imag;
  return scalar;
}

RowKinds kindsOf(PyObject* tuple) {
  RowKinds kinds;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple) && kinds.areNumbers(); ++i) {
    const Kind kind = kindInRow(PyTuple_GET_ITEM(tuple, i));
    kinds.lowest = std::min(kinds.lowest, kind);
    kinds.highest = std::max(kinds.highest, kind);
  }
  return kinds;
}

OwnedArray numberRow(PyObject* tuple, RowKinds kinds) {
  if (kinds.highest == Kind::Complex) return complexRow(tuple);
  if (kinds.highest == Kind::Boolean) return logicalRow(tuple);
  if (kinds.lowest == Kind::Integer && kinds.highest == Kind::Integer) return integerRow(tuple);
  return realRow(tuple);
}

OwnedArray makeNumeric(std::size_t rows, std::size_t columns, int classID, bool isComplex) {
  OwnedArray array(vrCreateNumericMatrix_730(rows, columns, classID, isComplex ? 1 : 0));
  if (!array) throw ntob::TOBOutOfMemoryException();
  return array;
}

}  // namespace vormel::python
