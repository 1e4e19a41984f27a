#include "python/src/to_host.h"

#include <cstring>
#include <string>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"
#include "python/src/host_value.h"
#include "python/src/nesting.h"
#include "python/src/numbers_in.h"
#include "python/src/numpy_scalars.h"
#include "python/src/text.h"

namespace vormel::python {
namespace {

OwnedArray scalarOf(const PlainNumber& number) {
  OwnedArray array = makeNumeric(1, 1, number.classID);
  std::memcpy(vrGetData(array.get()), number.bytes, number.size);
  return array;
}

OwnedArray scalarOrText(PyObject* value) {
  if (PyUnicode_Check(value)) return characterRow(value);
  return numberScalar(value);
}

bool isScalarOrText(PyObject* value) {
  return PyUnicode_Check(value) || kindOfNumber(value) != NumberKind::None;
}

OwnedArray container(PyObject* value) {
  const Nesting nesting(" while making a host array");
  if (PyDict_Check(value)) return toHostFromDict(value);
  return toHostFromSequence(value);
}

}  // namespace

OwnedArray makeNumeric(std::size_t rows, std::size_t columns, int classID, bool isComplex) {
  OwnedArray array(vrCreateNumericMatrix_730(rows, columns, classID, isComplex ? 1 : 0));
  if (!array) throw ntob::TOBOutOfMemoryException();
  return array;
}

OwnedArray toHost(PyObject* value) {
  if (value == Py_None) return makeNumeric(0, 0, vrDOUBLE_CLASS);
  // What most arguments are goes first: exact types are told by one comparison.
  if (PyUnicode_CheckExact(value)) return characterRow(value);
  if (PyFloat_CheckExact(value) || PyLong_CheckExact(value)) return numberScalar(value);
  if (const auto number = plainNumberIn(value)) return scalarOf(*number);
  if (const vrArray* array = hostArrayOf(value)) return OwnedArray(detachedCopy(array));
  if (PyArray_Check(value)) return toHostFromNumpy(reinterpret_cast<PyArrayObject*>(value));
  if (PyArray_IsScalar(value, Generic) && !PyUnicode_Check(value)) {
    const Ref array = checked(PyArray_FromScalar(value, nullptr));
    return toHostFromNumpy(reinterpret_cast<PyArrayObject*>(array.ptr()));
  }
  if (isScalarOrText(value)) return scalarOrText(value);
  if (PyDict_Check(value) || PyList_Check(value) || PyTuple_Check(value)) return container(value);
  throw CallRefused("NotConvertible", std::string("a value of the Python class ") +
                                          Py_TYPE(value)->tp_name + " has no host array");
}

}  // namespace vormel::python
