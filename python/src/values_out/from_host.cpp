#include "python/src/values_out/from_host.h"

#include <string>
#include <utility>
#include <vector>

#include "python/src/base/host_objects.h"
#include "python/src/base/host_value.h"
#include "python/src/base/names.h"
#include "python/src/base/text.h"
#include "python/src/values_out/numpy_out.h"

namespace vormel::python {
namespace {

constexpr char whileReading[] = " while reading a host array";

bool isMatrixOfOne(const ArrayFacts& facts) { return facts.isMatrix && facts.count == 1; }

bool isRow(const ArrayFacts& facts) { return facts.isMatrix && facts.rows == 1; }

Ref text(const vrArray* array, const ArrayFacts& facts) {
  if (!isRow(facts) && facts.count != 0) return numpyCharacters(array);
  return textFromUnits(static_cast<const char16_t*>(facts.elements), facts.count);
}

// The field names that came last, for readers of many structures alike.
struct KnownFields {
  std::uint64_t number;  // of the names; 0 for none
  Ref keys;              // tuple
  Ref dict;              // of the keys, all None: a copy of it has its final size
};

// A copy of what is known: Python code that runs while a reader works may make others known.
KnownFields knownFields(const vrArray* structure) {
  static auto& known = *new KnownFields{0, {}, {}};  // never freed, as in names.cpp
  const std::uint64_t number = fieldNamesNumber(structure);
  if (known.number == number) return known;
  const std::vector<std::string>& names = fieldNames(structure);
  KnownFields fresh{number, checked(PyTuple_New(static_cast<Py_ssize_t>(names.size()))),
                    checked(PyDict_New())};
  for (std::size_t i = 0; i < names.size(); ++i) {
    PyObject* key = nameFor(names[i]).release().ptr();
    PyTuple_SET_ITEM(fresh.keys.ptr(), static_cast<Py_ssize_t>(i), key);
    checked(PyDict_SetItem(fresh.dict.ptr(), key, Py_None));
  }
  return known = std::move(fresh);
}

// Of a name that stands twice the first field counts.
Ref dictOfElement(const vrArray* structure, std::size_t index) {
  const KnownFields known = knownFields(structure);
  const Ref& keys = known.keys;
  Ref dict = checked(PyDict_Copy(known.dict.ptr()));
  for (Py_ssize_t i = PyTuple_GET_SIZE(keys.ptr()); i-- > 0;) {
    const Ref value = fromHost(fieldAt(structure, index, static_cast<std::size_t>(i)));
    checked(PyDict_SetItem(dict.ptr(), PyTuple_GET_ITEM(keys.ptr(), i), value.ptr()));
  }
  return dict;
}

// A list of what `element` makes of each index. Making an element may run Python code, which finds
// every list that the collector tracks: a half-filled one is not shown to it.
template <class Element>
Ref listOf(const vrArray* array, const Element& element) {
  const std::size_t count = vrGetNumberOfElements(array);
  Ref list = checked(PyList_New(static_cast<Py_ssize_t>(count)));
  PyObject_GC_UnTrack(list.ptr());
  for (std::size_t i = 0; i < count; ++i) {
    PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), element(i).release().ptr());
  }
  PyObject_GC_Track(list.ptr());
  return list;
}

// A NumPy object array of what `element` makes of each index.
template <class Element>
Ref objectsOf(const vrArray* array, const Element& element) {
  Ref objects = numpyObjects(array);
  auto** item =
      static_cast<PyObject**>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(objects.ptr())));
  const std::size_t count = vrGetNumberOfElements(array);
  for (std::size_t i = 0; i < count; ++i) {
    Py_DECREF(std::exchange(item[i], element(i).release().ptr()));
  }
  return objects;
}

// A list for a row, else a NumPy object array.
template <class Element>
Ref rowOrObjects(const vrArray* array, const ArrayFacts& facts, const Element& element) {
  return isRow(facts) ? listOf(array, element) : objectsOf(array, element);
}

Ref structure(const vrArray* array, const ArrayFacts& facts) {
  const Nesting nesting(whileReading);
  const auto element = [array](std::size_t index) { return dictOfElement(array, index); };
  return isMatrixOfOne(facts) ? element(0) : listOf(array, element);
}

Ref cell(const vrArray* array, const ArrayFacts& facts) {
  const Nesting nesting(whileReading);
  return rowOrObjects(array, facts,
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

Ref valueObject(const vrArray* array, const ArrayFacts& facts) {
  if (isMatrixOfOne(facts)) return wrapObject(OwnedArray(detachedCopy(array)));
  return rowOrObjects(
      array, facts, [array](std::size_t index) { return wrapObject(objectElement(array, index)); });
}

Ref opaque(const vrArray* array) {
  if (handleTarget(array, 0) != nullptr) return hostObjectOf(array);
  return wrapArray(OwnedArray(detachedCopy(array)));
}

// What is made without taking over the array; null for numbers that want to share its storage.
Ref fromBorrowed(const vrArray* array) {
  const ArrayFacts facts = factsOf(array);
  switch (facts.classID) {
    case vrCHAR_CLASS:
      return text(array, facts);
    case vrSTRUCT_CLASS:
      return structure(array, facts);
    case vrCELL_CLASS:
      return cell(array, facts);
    case vrOBJECT_CLASS:
      return valueObject(array, facts);
    case vrLOGICAL_CLASS:
      if (!isMatrixOfOne(facts)) return {};
      return pybind11::bool_(vrGetScalar(array) != 0);
    case vrFUNCTION_CLASS:
    case vrOPAQUE_CLASS:
      return opaque(array);
    default:
      if (!isMatrixOfOne(facts)) return {};
      return facts.isComplex ? numpyComplexScalar(array)
                             : numpyScalar(facts.classID, facts.elements);
  }
}

}  // namespace

Ref fromHost(OwnedArray array) {
  if (Ref value = fromBorrowed(array.get())) return value;
  return numpyFromHost(std::move(array));
}

Ref fromHost(const vrArray* array) {
  if (Ref value = fromBorrowed(array)) return value;
  return numpyFromHost(OwnedArray(detachedCopy(array)));
}

Ref numpyArrayOf(const vrArray* array) {
  switch (vrGetClassID(array)) {
    case vrCHAR_CLASS:
      return numpyCharacters(array);
    case vrSTRUCT_CLASS:
      return objectsOf(array, [array](std::size_t index) { return dictOfElement(array, index); });
    case vrCELL_CLASS:
      return objectsOf(array,
                       [array](std::size_t index) { return fromHost(cellElement(array, index)); });
    case vrOBJECT_CLASS:
      return objectsOf(
          array, [array](std::size_t index) { return wrapObject(objectElement(array, index)); });
    case vrFUNCTION_CLASS:
    case vrOPAQUE_CLASS:
      return objectsOf(array, [array](std::size_t) { return opaque(array); });
    default:
      return numpyFromHost(OwnedArray(detachedCopy(array)));
  }
}

}  // namespace vormel::python
