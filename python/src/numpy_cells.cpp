// NumPy arrays as cell arrays of their shape, an element in each cell.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "python/src/not_convertible.h"
#include "python/src/numpy_classes.h"
#include "python/src/numpy_elements.h"
#include "python/src/text.h"
#include "python/src/to_host.h"

namespace vormel::python {
namespace {

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

}  // namespace

OwnedArray cellFromNumpy(PyArrayObject* source) {
  refuseMasked(source);  // may run Python code
  const PyArray_Descr* dtype = PyArray_DESCR(source);
  if (dtype->kind == 'O') return cellOfObjects(NumpyElements(source));
  if (dtype->kind == 'U') return cellOfTexts(NumpyElements(source));
  return cellOfNumbers(source);
}

}  // namespace vormel::python
