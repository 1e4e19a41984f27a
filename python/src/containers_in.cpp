// Lists, tuples and dicts on their way into host arrays.
#include <string>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/numbers_in.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

// A tuple's items do not change while they are converted, whatever Python code that runs.
Ref snapshot(PyObject* sequence) { return checked(PySequence_Tuple(sequence)); }

bool allNumbers(PyObject* tuple) {
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    if (kindOfNumber(PyTuple_GET_ITEM(tuple, i)) == NumberKind::None) return false;
  }
  return true;
}

bool sameKeys(PyObject* a, PyObject* b) {
  if (PyDict_GET_SIZE(a) != PyDict_GET_SIZE(b)) return false;
  Py_ssize_t position = 0;
  for (PyObject* key = nullptr; PyDict_Next(a, &position, &key, nullptr) != 0;) {
    const Ref held = borrow(key);
    const int contained = PyDict_Contains(b, key);
    checked(contained);
    if (contained == 0) return false;
  }
  return true;
}

bool allDictsOfEqualKeys(PyObject* tuple) {
  PyObject* first = PyTuple_GET_ITEM(tuple, 0);
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(tuple); ++i) {
    PyObject* item = PyTuple_GET_ITEM(tuple, i);
    if (!PyDict_Check(item) || !sameKeys(first, item)) return false;
  }
  return true;
}

// The keys as a tuple, all of them texts that a field may have as its name.
Ref fieldKeys(PyObject* dict) {
  const Ref list = checked(PyDict_Keys(dict));
  Ref keys = snapshot(list.ptr());
  for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(keys.ptr()); ++i) {
    if (!PyUnicode_Check(PyTuple_GET_ITEM(keys.ptr(), i))) {
      throw CallRefused("NotConvertible", "a dict whose keys are not all str has no host array");
    }
  }
  return keys;
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
    OwnedArray array = toHost(borrow(value).ptr());
    vrSetFieldByNumber_730(structure, index, static_cast<int>(field), array.get());
    static_cast<void>(array.release());  // the structure's from here on
  }
}

OwnedArray structureRow(PyObject* tuple) {
  const Ref keys = fieldKeys(PyTuple_GET_ITEM(tuple, 0));
  const auto count = static_cast<std::size_t>(PyTuple_GET_SIZE(tuple));
  OwnedArray structure = emptyStructure(keys.ptr(), count);
  for (std::size_t i = 0; i < count; ++i) {
    PyObject* dict = PyTuple_GET_ITEM(tuple, static_cast<Py_ssize_t>(i));
    fillElement(structure.get(), i, keys.ptr(), dict);
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

OwnedArray toHostFromSequence(PyObject* sequence) {
  const Ref items = snapshot(sequence);
  if (PyTuple_GET_SIZE(items.ptr()) == 0) return makeNumeric(0, 0, vrDOUBLE_CLASS);
  if (allNumbers(items.ptr())) return numberRow(items.ptr());
  if (allDictsOfEqualKeys(items.ptr())) return structureRow(items.ptr());
  return cellRow(items.ptr());
}

OwnedArray toHostFromDict(PyObject* dict) {
  const Ref only = checked(PyTuple_Pack(1, dict));
  return structureRow(only.ptr());
}

}  // namespace vormel::python
