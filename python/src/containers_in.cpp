// Lists, tuples and dicts on their way into host arrays.
#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/numbers_in.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

bool allNumbers(PyObject* tuple) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    if (kindOfNumber(PyTuple_GET_ITEM(tuple, i)) == NumberKind::None) return false;
  }
  return true;
}

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

}  // namespace

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

Ref snapshot(PyObject* sequence) { return checked(PySequence_Tuple(sequence)); }

OwnedArray toHostFromSequence(PyObject* sequence) {
  const Ref items = snapshot(sequence);
  if (PyTuple_GET_SIZE(items.ptr()) == 0) return makeNumeric(0, 0, vrDOUBLE_CLASS);
  if (allNumbers(items.ptr())) return numberRow(items.ptr());
  PyObject* first = PyTuple_GET_ITEM(items.ptr(), 0);
  if (!PyDict_Check(first)) return cellRow(items.ptr());
  const Ref keys = keysOf(first);
  if (!allDictsWithTheKeys(items.ptr(), keys.ptr())) return cellRow(items.ptr());
  return structureRow(items.ptr(), keys.ptr());
}

OwnedArray toHostFromDict(PyObject* dict) {
  const Ref only = checked(PyTuple_Pack(1, dict));
  return structureRow(only.ptr(), keysOf(dict).ptr());
}

}  // namespace vormel::python
