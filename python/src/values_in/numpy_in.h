// NumPy arrays as host arrays, and their elements read where they lie.
//
// NumPy's own copies may run Python code: that of a subclass, or of whatever a collection of
// garbage finalizes. Such code can resize the array that is being copied. Here no Python code runs
// between looking at the array and reading its last element, so what was seen stays true.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// A new array of the class of the dtype and of the same shape: 0-d becomes 1-by-1, 1-d one row.
// Dtype U1 gives a character array. Refuses dtypes without a class and masked elements.
OwnedArray toHostFromNumpy(PyArrayObject* source);

// Refuses a masked array that has masked elements; returns for every other array. May run code of a
// subclass, so that nothing read from the array before holds any longer.
void refuseMasked(PyArrayObject* array);

// Refuses dates, times and masked elements, Python's own and NumPy's; returns for anything else.
// For items that are refused in any case: these have hints of their own.
void refuseHinted(PyObject* item);

// Where the elements lie. Valid until Python code runs.
struct NumpyElements {
  explicit NumpyElements(PyArrayObject* array)
      : first(static_cast<const char*>(PyArray_DATA(array))),
        lengths(PyArray_DIMS(array), PyArray_DIMS(array) + PyArray_NDIM(array)),
        strides(PyArray_STRIDES(array), PyArray_STRIDES(array) + PyArray_NDIM(array)),
        size(static_cast<std::size_t>(PyArray_ITEMSIZE(array))),
        isSwapped(PyArray_ISBYTESWAPPED(array)),
        isInFortranOrder(PyArray_CHKFLAGS(array, NPY_ARRAY_F_CONTIGUOUS)) {}

  // The shape of a host array of these elements: 0-d as 1-by-1, 1-d as one row, n-d as it is.
  std::vector<std::size_t> hostDimensions() const {
    std::vector<std::size_t> dimensions(lengths.begin(), lengths.end());
    while (dimensions.size() < 2) dimensions.insert(dimensions.begin(), 1);
    return dimensions;
  }

  const char* first;
  std::vector<npy_intp> lengths;
  std::vector<npy_intp> strides;  // in bytes
  std::size_t size;               // of an element, in bytes
  bool isSwapped;                 // of foreign byte order
  bool isInFortranOrder;          // without gaps
};

// Calls `use` with the address of each element, in Fortran order. `use` runs no Python code.
template <class Use>
void forEachElement(const NumpyElements& elements, const Use& use) {
  std::vector<npy_intp> index(elements.lengths.size(), 0);
  for (const npy_intp length : elements.lengths) {
    if (length == 0) return;
  }
  const std::size_t dimensionCount = index.size();
  const npy_intp innerLength = dimensionCount == 0 ? 1 : elements.lengths[0];
  const npy_intp innerStride = dimensionCount == 0 ? 0 : elements.strides[0];
  for (const char* column = elements.first;;) {
    for (npy_intp i = 0; i < innerLength; ++i) use(column + i * innerStride);
    std::size_t dimension = 1;
    for (; dimension < dimensionCount; ++dimension) {
      column += elements.strides[dimension];
      if (++index[dimension] < elements.lengths[dimension]) break;
      column -= elements.strides[dimension] * elements.lengths[dimension];
      index[dimension] = 0;
    }
    if (dimension >= dimensionCount) return;
  }
}

// The value at an address, aligned or not, in this machine's byte order.
template <class Word>
Word loadWord(const char* address, bool isSwapped) {
  static_assert(std::is_unsigned_v<Word>);
  Word word;
  std::memcpy(&word, address, sizeof(word));
  if (!isSwapped) return word;
  if constexpr (sizeof(Word) == 2) {
    return __builtin_bswap16(word);
  } else if constexpr (sizeof(Word) == 4) {
    return __builtin_bswap32(word);
  } else if constexpr (sizeof(Word) == 8) {
    return __builtin_bswap64(word);
  } else {
    return word;
  }
}

}  // namespace vormel::python
