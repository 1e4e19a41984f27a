#include "python/src/values_in/of_class.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/messages/host_exception.h"
#include "python/src/base/host_value.h"
#include "python/src/base/names.h"
#include "python/src/base/text.h"
#include "python/src/values_in/elements_of_class.h"
#include "python/src/values_in/numpy_in.h"
#include "python/src/values_in/to_host.h"

namespace vormel::python {
namespace {

bool isSequence(PyObject* value) { return PyList_Check(value) || PyTuple_Check(value); }

// The value, or if it is a list or tuple its items: from here on it is what it was when it was
// read.
Ref settled(PyObject* value) { return isSequence(value) ? snapshot(value) : borrow(value); }

bool isEmpty(PyObject* settledValue) {
  return settledValue == Py_None ||
         (PyTuple_Check(settledValue) && PyTuple_GET_SIZE(settledValue) == 0);
}

// ---- Numbers, truths, characters ----

OwnedArray elements(PyObject* value, int classID, const std::string& className) {
  if (isEmpty(value))
    return OwnedArray(zeros(2, std::array<std::size_t, 2>{0, 0}.data(), classID, false));
  if (PyTuple_Check(value)) return arrayOfLists(value, classID, className);
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) == classID) return array;
  if (!hasElements(array.get())) {
    refuseForClass("a value without numbers or characters", className);
  }
  return cast(array.get(), classID, className);
}

// ---- Cells: an element in each ----

OwnedArray emptyCell(const NumpyElements& source) {
  const std::vector<std::size_t> dimensions = source.hostDimensions();
  return OwnedArray(makeCell(dimensions.size(), dimensions.data()));
}

void put(const OwnedArray& cell, std::size_t index, OwnedArray element) {
  setCellElement(cell.get(), index, element.get());
  static_cast<void>(element.release());  // the cell's from here on
}

// Held, for converting one item may change the array they stand in.
std::vector<Ref> itemsOf(const NumpyElements& source, std::size_t count) {
  std::vector<Ref> items;
  items.reserve(count);
  forEachElement(source, [&](const char* element) {
    PyObject* item = nullptr;
    std::memcpy(&item, element, sizeof(PyObject*));
    items.push_back(borrow(item == nullptr ? Py_None : item));
  });
  return items;
}

OwnedArray cellOfObjects(const NumpyElements& source) {
  OwnedArray cell = emptyCell(source);
  const std::vector<Ref> items = itemsOf(source, vrGetNumberOfElements(cell.get()));
  for (std::size_t i = 0; i < items.size(); ++i) put(cell, i, toHost(items[i].ptr()));
  return cell;
}

// The characters of all elements, one after the other.
std::vector<Py_UCS4> charactersOf(const NumpyElements& source, std::size_t count) {
  const std::size_t width = source.size / sizeof(Py_UCS4);
  std::vector<Py_UCS4> characters;
  characters.reserve(count * width);
  forEachElement(source, [&](const char* element) {
    for (std::size_t i = 0; i < width; ++i) {
      characters.push_back(
          loadWord<std::uint32_t>(element + i * sizeof(Py_UCS4), source.isSwapped));
    }
  });
  return characters;
}

// Texts end with their last character that is not NUL.
OwnedArray cellOfTexts(const NumpyElements& source) {
  OwnedArray cell = emptyCell(source);
  const std::size_t count = vrGetNumberOfElements(cell.get());
  const std::vector<Py_UCS4> characters = charactersOf(source, count);
  const std::size_t width = source.size / sizeof(Py_UCS4);
  for (std::size_t i = 0; i < count; ++i) {
    const Py_UCS4* first = characters.data() + i * width;
    std::size_t length = width;
    while (length != 0 && first[length - 1] == 0) --length;
    put(cell, i, characterRow(textFromCodes(first, length).ptr()));
  }
  return cell;
}

OwnedArray elementOf(const vrArray* array, std::size_t index) {
  const std::size_t size = vrGetElementSize(array);
  OwnedArray element = makeNumeric(1, 1, vrGetClassID(array), vrIsComplex(array));
  const auto copy = [&](const void* from, void* to) {
    std::memcpy(to, static_cast<const char*>(from) + index * size, size);
  };
  copy(vrGetData(array), vrGetData(element.get()));
  if (vrIsComplex(array)) copy(vrGetImagData(array), vrGetImagData(element.get()));
  return element;
}

OwnedArray cellOfNumbers(PyArrayObject* source) {
  const OwnedArray numbers = toHostFromNumpy(source);
  OwnedArray cell(
      makeCell(vrGetNumberOfDimensions_730(numbers.get()), vrGetDimensions_730(numbers.get())));
  const std::size_t count = vrGetNumberOfElements(numbers.get());
  for (std::size_t i = 0; i < count; ++i) put(cell, i, elementOf(numbers.get(), i));
  return cell;
}

OwnedArray cellFromNumpy(PyArrayObject* source) {
  refuseMasked(source);  // may run Python code
  const PyArray_Descr* dtype = PyArray_DESCR(source);
  if (dtype->kind == 'O') return cellOfObjects(NumpyElements(source));
  if (dtype->kind == 'U') return cellOfTexts(NumpyElements(source));
  return cellOfNumbers(source);
}

OwnedArray cell(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmpty(value)) return OwnedArray(makeCell(2, none));
  if (PyTuple_Check(value)) return cellRow(value);
  if (PyArray_Check(value)) return cellFromNumpy(reinterpret_cast<PyArrayObject*>(value));
  const Kind kind = kindOf(value);
  if (kind == Kind::HostValue && vrGetClassID(hostArrayIn(value)) == vrCELL_CLASS) {
    return toHost(value, kind);
  }
  const Ref given = kind == Kind::Other ? arrayByProtocol(value) : Ref();
  if (given) return cellFromNumpy(reinterpret_cast<PyArrayObject*>(given.ptr()));
  return cellRow(checked(PyTuple_Pack(1, value)).ptr());
}

// ---- The other classes ----

OwnedArray structure(PyObject* value) {
  const std::size_t none[] = {0, 0};
  if (isEmpty(value)) return OwnedArray(vrCreateStructArray_730(2, none, 0, nullptr));
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrSTRUCT_CLASS) {
    refuseForClass("what is neither a dict nor a list of dicts with equal keys", "struct");
  }
  return array;
}

OwnedArray functionHandle(PyObject* value) {
  if (PyUnicode_Check(value)) {
    return OwnedArray(makeFunctionHandle(plainUtf8(value, "function name")));
  }
  OwnedArray array = toHost(value);
  if (vrGetClassID(array.get()) != vrFUNCTION_CLASS)
    refuseForClass("what is no name", "function_handle");
  return array;
}

[[noreturn]] void refuseClassName(const std::string& className) {
  std::vector<std::string> known;
  for (int classID = vrCELL_CLASS; classID <= vrOBJECT_CLASS; ++classID) {
    const std::string_view name = nameOfClass(classID);
    if (!name.empty()) known.emplace_back(name);
  }
  throw CallRefused("NoSuchClass", "arrays of class \"" + className +
                                       "\" are not made by name; the classes are " + listed(known));
}

}  // namespace

OwnedArray toHostOfClass(PyObject* value, const char* className) {
  const int classID = vrClassIDFromClassName(className);
  if (classID == vrUNKNOWN_CLASS) refuseClassName(className);
  const Ref held = settled(value);
  switch (classID) {
    case vrCELL_CLASS:
      return cell(held.ptr());
    case vrSTRUCT_CLASS:
      return structure(held.ptr());
    case vrFUNCTION_CLASS:
      return functionHandle(held.ptr());
    default:
      return elements(held.ptr(), classID, className);
  }
}

}  // namespace vormel::python
