#include "python/src/from_host.h"

#include <string>
#include <utility>
#include <vector>

#include "python/src/array_type.h"
#include "python/src/host_object.h"
#include "python/src/names.h"
#include "python/src/nesting.h"
#include "python/src/text.h"

namespace vormel::python {
namespace {

bool isMatrixOfOne(const vrArray* array) {
  return vrIsScalar(array) && vrGetNumberOfDimensions_730(array) == 2;
}

bool isRow(const vrArray* array) {
  return vrGetNumberOfDimensions_730(array) == 2 && vrGetM(array) == 1;
}

Ref text(const vrArray* array) {
  if (!isRow(array) && !vrIsEmpty(array)) return numpyCharacters(array);
  return textFromUnits(static_cast<const char16_t*>(vrGetData(array)),
                       vrGetNumberOfElements(array));
}

// A dict with the names as keys, in order, and None everywhere: a copy, of its final size, of the
// one made for the names that came last. Readers read many structures alike.
Ref emptyDict(const std::vector<std::string>& names) {
  struct Known {
    std::vector<std::string> names;
    Ref dict;
  };
  static auto* known = new Known{{}, checked(PyDict_New())};  // never freed, as in names.cpp
  if (known->names != names) {
    const Ref dict = checked(PyDict_New());
    for (const std::string& name : names) {
      checked(PyDict_SetItem(dict.ptr(), nameFor(name).ptr(), Py_None));
    }
    *known = {names, dict};
  }
  return checked(PyDict_Copy(known->dict.ptr()));
}

Ref dictOfElement(const vrArray* structure, std::size_t index) {
  const std::vector<std::string>& names = fieldNames(structure);
  Ref dict = emptyDict(names);
  if (static_cast<std::size_t>(PyDict_GET_SIZE(dict.ptr())) == names.size()) {
    Py_ssize_t position = 0;
    PyObject* key = nullptr;
    for (std::size_t field = 0; PyDict_Next(dict.ptr(), &position, &key, nullptr) != 0; ++field) {
      const Ref value = fromHost(fieldAt(structure, index, field));
      checked(PyDict_SetItem(dict.ptr(), key, value.ptr()));
    }
    return dict;
  }
  for (const std::string& name : names) {  // a name stands twice
    const Ref value = fromHost(vrGetField_730(structure, index, name.c_str()));
    checked(PyDict_SetItem(dict.ptr(), nameFor(name).ptr(), value.ptr()));
  }
  return dict;
}

// A list of what `element` makes of each index.
template <class Element>
Ref listOf(const vrArray* array, const Element& element) {
  const std::size_t count = vrGetNumberOfElements(array);
  Ref list = checked(PyList_New(static_cast<Py_ssize_t>(count)));
  for (std::size_t i = 0; i < count; ++i) {
    PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), element(i).release().ptr());
  }
  return list;
}

// A list for a row, else a NumPy object array.
template <class Element>
Ref rowOrObjects(const vrArray* array, const Element& element) {
  if (isRow(array)) return listOf(array, element);
  Ref objects = numpyObjects(array);
  auto** item =
      static_cast<PyObject**>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(objects.ptr())));
  for (std::size_t i = 0; i < vrGetNumberOfElements(array); ++i) {
    Py_DECREF(std::exchange(item[i], element(i).release().ptr()));
  }
  return objects;
}

Ref structure(const vrArray* array) {
  const auto element = [array](std::size_t index) { return dictOfElement(array, index); };
  return isMatrixOfOne(array) ? element(0) : listOf(array, element);
}

Ref cell(const vrArray* array) {
  return rowOrObjects(array,
                      [array](std::size_t index) { return fromHost(cellElement(array, index)); });
}

// One element of an array of value objects, as an object of its own.
OwnedArray objectElement(const vrArray* array, std::size_t index) {
  const std::size_t dimensions[] = {1, 1};
  OwnedArray object(makeObject(className(array), 2, dimensions));
  for (const std::string& name : fieldNames(array)) {
    const OwnedArray value(vrGetProperty_730(array, index, name.c_str()));
    vrSetProperty_730(object.get(), 0, name.c_str(), value.get());
  }
  return object;
}

Ref valueObject(const vrArray* array) {
  if (isMatrixOfOne(array)) return wrapObject(OwnedArray(detachedCopy(array)));
  return rowOrObjects(
      array, [array](std::size_t index) { return wrapObject(objectElement(array, index)); });
}

Ref opaque(const vrArray* array) {
  if (handleTarget(array, 0) != nullptr) return hostObjectOf(array);
  return wrapArray(OwnedArray(detachedCopy(array)));
}

// What is made without taking over the array; null for numbers that want to share its storage.
Ref fromBorrowed(const vrArray* array) {
  switch (vrGetClassID(array)) {
    case vrCHAR_CLASS:
      return text(array);
    case vrSTRUCT_CLASS:
      return structure(array);
    case vrCELL_CLASS:
      return cell(array);
    case vrOBJECT_CLASS:
      return valueObject(array);
    case vrLOGICAL_CLASS:
      if (!isMatrixOfOne(array)) return {};
      return pybind11::bool_(vrGetScalar(array) != 0);
    case vrFUNCTION_CLASS:
    case vrOPAQUE_CLASS:
      return opaque(array);
    default:
      return isMatrixOfOne(array) ? numpyScalar(array) : Ref();
  }
}

}  // namespace

Ref fromHost(OwnedArray array) {
  const Nesting nesting(" while reading a host array");
  Ref value = fromBorrowed(array.get());
  return value ? value : numpyFromHost(std::move(array));
}

Ref fromHost(const vrArray* array) {
  const Nesting nesting(" while reading a host array");
  Ref value = fromBorrowed(array);
  return value ? value : numpyFromHost(OwnedArray(detachedCopy(array)));
}

}  // namespace vormel::python
