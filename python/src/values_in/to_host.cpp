#include "python/src/values_in/to_host.h"

#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/host_value.h"
#include "python/src/base/text.h"
#include "python/src/values_in/numpy_in.h"
#include "python/src/values_in/refusals.h"

namespace vormel::python {
namespace {

// ---- Dicts ----

// The keys of a dict as a tuple, which stays as it is.
Ref keysOf(PyObject* dict) { return snapshot(checked(PyDict_Keys(dict)).ptr()); }

bool hasTheKeys(PyObject* dict, PyObject* keys) {
  if (PyDict_GET_SIZE(dict) != PyTuple_GET_SIZE(keys)) return false;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(keys); ++i) {
    const int contained = PyDict_Contains(dict, PyTuple_GET_ITEM(keys, i));
    checked(contained);
    if (contained == 0) return false;
  }
  return true;
}

bool allDictsWithTheKeys(PyObject* tuple, PyObject* keys) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    PyObject* item = PyTuple_GET_ITEM(tuple, i);
    if (!PyDict_Check(item) || !hasTheKeys(item, keys)) return false;
  }
  return true;
}

// A field's name is a text.
void requireTexts(PyObject* keys) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(keys); ++i) {
    if (!PyUnicode_Check(PyTuple_GET_ITEM(keys, i))) {
      throw CallRefused("NotConvertible", "a dict whose keys are not all str has no host array");
    }
  }
}

OwnedArray emptyStructure(PyObject* keys, std::size_t count) {
  std::vector<const char*> names;
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(keys); ++i) {
    names.push_back(plainUtf8(PyTuple_GET_ITEM(keys, i), "field name"));
  }
  const std::size_t dimensions[] = {1, count};
  return OwnedArray(
      vrCreateStructArray_730(2, dimensions, static_cast<int>(names.size()), names.data()));
}

void fillElement(vrArray* structure, std::size_t index, PyObject* keys, PyObject* dict) {
  for (Py_ssize_t field = 0; field < PyTuple_GET_SIZE(keys); ++field) {
    PyObject* value = PyDict_GetItemWithError(dict, PyTuple_GET_ITEM(keys, field));
    if (value == nullptr) {
      if (PyErr_Occurred() != nullptr) throw PythonErrorSet();
      throw CallRefused("NotConvertible", "a dict changed while it was read");
    }
    const Ref held = borrow(value);
    OwnedArray array = toHost(held.ptr());
    vrSetFieldByNumber_730(structure, index, static_cast<int>(field), array.get());
    static_cast<void>(array.release());  // the structure's from here on
  }
}

OwnedArray structureRow(PyObject* tuple, PyObject* keys) {
  requireTexts(keys);
  const auto count = static_cast<std::size_t>(PyTuple_GET_SIZE(tuple));
  OwnedArray structure = emptyStructure(keys, count);
  for (std::size_t i = 0; i < count; ++i) {
    fillElement(structure.get(), i, keys, PyTuple_GET_ITEM(tuple, static_cast<Py_ssize_t>(i)));
  }
  return structure;
}

// ---- Lists ----

OwnedArray listArray(PyObject* tuple) {
  if (PyTuple_GET_SIZE(tuple) == 0) return makeNumeric(0, 0, vrDOUBLE_CLASS);
  const RowKinds kinds = kindsOf(tuple);
  if (kinds.areNumbers()) return numberRow(tuple, kinds);
  PyObject* first = PyTuple_GET_ITEM(tuple, 0);
  if (!PyDict_Check(first)) return cellRow(tuple);
  const Ref keys = keysOf(first);
  return allDictsWithTheKeys(tuple, keys.ptr()) ? structureRow(tuple, keys.ptr()) : cellRow(tuple);
}

OwnedArray container(PyObject* value, Kind kind) {
  const Nesting nesting(" while making a host array");
  if (kind == Kind::Sequence) return listArray(snapshot(value).ptr());
  const Ref only = checked(PyTuple_Pack(1, value));
  return structureRow(only.ptr(), keysOf(value).ptr());
}

// ---- What NumPy knows ----

PyArrayObject* asNumpy(const Ref& array) { return reinterpret_cast<PyArrayObject*>(array.ptr()); }

OwnedArray arrayOfOther(PyObject* value) {
  if (const Ref array = arrayByProtocol(value)) return toHostFromNumpy(asNumpy(array));
  refuseValue(value);
}

}  // namespace

OwnedArray toHost(PyObject* value, Kind kind) {
  switch (kind) {
    case Kind::Boolean:
    case Kind::Integer:
    case Kind::Real:
    case Kind::NumpyNumber:
      return scalarArray(scalarOf(value, kind));
    case Kind::Complex:
      return complexScalar(value);
    case Kind::None:
      return makeNumeric(0, 0, vrDOUBLE_CLASS);
    case Kind::Text:
      return characterRow(value);
    case Kind::Sequence:
    case Kind::Dict:
      return container(value, kind);
    case Kind::HostValue:
      return OwnedArray(detachedCopy(hostArrayIn(value)));
    case Kind::NumpyScalar:
      return toHostFromNumpy(asNumpy(checked(PyArray_FromScalar(value, nullptr))));
    case Kind::NumpyArray:
      return toHostFromNumpy(reinterpret_cast<PyArrayObject*>(value));
    case Kind::Other:
      return arrayOfOther(value);
  }
  refuseValue(value);
}

Ref arrayByProtocol(PyObject* value) {
  if (PyType_Check(value)) return {};
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

OwnedArray cellRow(PyObject* tuple) {
  const std::size_t dimensions[] = {1, static_cast<std::size_t>(PyTuple_GET_SIZE(tuple))};
  OwnedArray cell(makeCell(2, dimensions));
  for (std::size_t i = 0; i < dimensions[1]; ++i) {
    OwnedArray element = toHost(PyTuple_GET_ITEM(tuple, static_cast<Py_ssize_t>(i)));
    setCellElement(cell.get(), i, element.get());
    static_cast<void>(element.release());  // the cell's from here on
  }
  return cell;
}

}  // namespace vormel::python
