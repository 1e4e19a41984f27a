// libvr: elements of numeric, logical and character arrays.
#include <cmath>
#include <cstring>
#include <limits>

#include "embedded_host/arrays/storage.h"
#include "embedded_host/arrays/text.h"
#include "embedded_host/messages/host_exception.h"

using namespace vormel;

namespace {

template <class T>
double firstAs(const vrArray* array) noexcept {
  T value;
  std::memcpy(&value, elements(array), sizeof value);
  return static_cast<double>(value);
}

}  // namespace

const void* vrGetData(const vrArray* array) {
  return hasElements(array) ? elements(array) : nullptr;
}

void* vrGetData(vrArray* array) {
  unshare(array);
  return const_cast<void*>(vrGetData(static_cast<const vrArray*>(array)));
}

const void* vrGetImagData(const vrArray* array) {
  return array->isComplex ? imaginaryElements(array) : nullptr;
}

void* vrGetImagData(vrArray* array) {
  if (!array->isComplex) return nullptr;
  unshare(array);
  return const_cast<void*>(vrGetImagData(static_cast<const vrArray*>(array)));
}

double vrGetScalar(const vrArray* array) {
  if (!hasElements(array) || countOf(array) == 0) return std::numeric_limits<double>::quiet_NaN();
  if (array->classID == vrLOGICAL_CLASS) return firstAs<std::uint8_t>(array) != 0 ? 1 : 0;
  return visitElementType(array->classID,
                          [&]<class T>(std::type_identity<T>) { return firstAs<T>(array); });
}

std::int32_t vrGetScalarInt(const vrArray* array) {
  const double value = vrGetScalar(array);
  const bool fits = value > -2147483649.0 && value < 2147483648.0;
  return fits ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::min();
}

std::string vrArrayToStdString(const vrArray* array) {
  if (array == nullptr) return {};
  if (array->classID != vrCHAR_CLASS) {
    throw HostError("NotCharacters", "A character array is needed here.");
  }
  return utf8FromUtf16(reinterpret_cast<const std::uint16_t*>(elements(array)), countOf(array));
}
