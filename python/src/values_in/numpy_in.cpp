#include "python/src/values_in/numpy_in.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/number_classes.h"
#include "python/src/values_in/numpy_elements.h"
#include "python/src/values_in/refusals.h"

namespace vormel::python {
namespace {

template <class Word>
void copyWords(const NumpyElements& source, void* target) {
  auto* word = static_cast<Word*>(target);
  forEachElement(source,
                 [&](const char* element) { *word++ = loadWord<Word>(element, source.isSwapped); });
}

void copyReal(const NumpyElements& source, vrArray* target) {
  void* data = vrGetData(target);
  if (source.isInFortranOrder && !source.isSwapped) {
    const std::size_t bytes = vrGetNumberOfElements(target) * source.size;
    if (bytes != 0) std::memcpy(data, source.first, bytes);
    return;
  }
  switch (source.size) {
    case 1:
      return copyWords<std::uint8_t>(source, data);
    case 2:
      return copyWords<std::uint16_t>(source, data);
    case 4:
      return copyWords<std::uint32_t>(source, data);
    default:
      return copyWords<std::uint64_t>(source, data);
  }
}

// A NumPy bool may be any byte; a logical is 0 or 1.
void settleTruths(vrArray* logical) {
  auto* truths = static_cast<std::uint8_t*>(vrGetData(logical));
  std::transform(truths, truths + vrGetNumberOfElements(logical), truths,
                 [](std::uint8_t truth) { return static_cast<std::uint8_t>(truth != 0); });
}

// Pairs in NumPy, two arrays in the host.
template <class Word>
void splitParts(const NumpyElements& source, vrArray* target) {
  auto* real = static_cast<Word*>(vrGetData(target));
  auto* imaginary = static_cast<Word*>(vrGetImagData(target));
  forEachElement(source, [&](const char* element) {
    *real++ = loadWord<Word>(element, source.isSwapped);
    *imaginary++ = loadWord<Word>(element + sizeof(Word), source.isSwapped);
  });
}

OwnedArray characters(const NumpyElements& source) {
  const std::vector<std::size_t> dimensions = source.hostDimensions();
  OwnedArray array(vrCreateCharArray_730(dimensions.size(), dimensions.data()));
  auto* unit = static_cast<char16_t*>(vrGetData(array.get()));
  std::uint32_t highest = 0;
  forEachElement(source, [&](const char* element) {
    const auto code = loadWord<std::uint32_t>(element, source.isSwapped);
    highest = std::max(highest, code);
    *unit++ = static_cast<char16_t>(code);
  });
  if (highest > 0xFFFF) {
    throw CallRefused("NotConvertible",
                      "a character array holds no character beyond U+FFFF in one element; pass a "
                      "str, or a list of them");
  }
  return array;
}

OwnedArray numbers(const NumpyElements& source, int classID, bool isComplex) {
  const std::vector<std::size_t> dimensions = source.hostDimensions();
  OwnedArray array(
      vrCreateNumericArray_730(dimensions.size(), dimensions.data(), classID, isComplex ? 1 : 0));
  if (!isComplex) {
    copyReal(source, array.get());
  } else if (source.size == 2 * sizeof(std::uint64_t)) {
    splitParts<std::uint64_t>(source, array.get());
  } else {
    splitParts<std::uint32_t>(source, array.get());
  }
  if (classID == vrLOGICAL_CLASS) settleTruths(array.get());
  return array;
}

}  // namespace

OwnedArray toHostFromNumpy(PyArrayObject* source) {
  refuseMasked(source);  // may run Python code
  const int classID = classOfDtype(PyArray_DESCR(source));
  if (classID == vrUNKNOWN_CLASS) refuseDtype(source);
  const NumpyElements elements(source);
  if (classID == vrCHAR_CLASS) return characters(elements);
  return numbers(elements, classID, PyArray_ISCOMPLEX(source));
}

}  // namespace vormel::python
