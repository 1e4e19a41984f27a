#include "python/src/to_host.h"

#include <cstring>
#include <string>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"
#include "python/src/host_value.h"
#include "python/src/nesting.h"
#include "python/src/not_convertible.h"
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

PyArrayObject* asNumpy(const Ref& array) { return reinterpret_cast<PyArrayObject*>(array.ptr()); }

bool isScalarOrText(PyObject* value) {
  return PyUnicode_Check(value) || kindOfNumber(value) != NumberKind::None;
}

bool isContainer(PyObject* value) {
  return PyDict_Check(value) || PyList_Check(value) || PyTuple_Check(value);
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
    return toHostFromNumpy(asNumpy(checked(PyArray_FromScalar(value, nullptr))));
  }
  if (isScalarOrText(value)) return scalarOrText(value);
  if (isContainer(value)) return container(value);
  if (const Ref array = arrayByProtocol(value)) return toHostFromNumpy(asNumpy(array));
  refuseValue(value);
}

Ref arrayByProtocol(PyObject* value) {
  if (value == Py_None || PyType_Check(value) || PyArray_Check(value) || isContainer(value) ||
      isScalarOrText(value) || PyArray_IsScalar(value, Generic) || hostArrayOf(value) != nullptr) {
    return {};
  }
  const Ref method = steal(PyObject_GetAttrString(value, "__array__"));
  if (!method) {
    if (PyErr_ExceptionMatches(PyExc_AttributeError) == 0) throw PythonErrorSet();
    PyErr_Clear();
    return {};
  }
  Ref array = checked(PyObject_CallNoArgs(method.ptr()));
  if (PyArray_Check(array.ptr())) return array;
  throw CallRefused("NotConvertible", std::string("__array__ of a value of the Python class ") +
                                          Py_TYPE(value)->tp_name + " gave a value of the class " +
                                          Py_TYPE(array.ptr())->tp_name + ", not a NumPy array");
}

}  // namespace vormel::python
