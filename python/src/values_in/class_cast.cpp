#include "python/src/values_in/class_cast.h"

#include <cmath>
#include <limits>

#include "embedded_host/messages/host_exception.h"
#include "python/src/base/number_classes.h"

namespace vormel::python {
namespace {

// Elements are read and written through the widest number: it holds all of int64, uint64 and
// double.
using Widest = long double;
static_assert(std::numeric_limits<Widest>::digits >= 64);

template <class Element>
bool holds(Widest value) {
  using Limits = std::numeric_limits<Element>;
  if (!Limits::is_integer) return true;
  return value >= static_cast<Widest>(Limits::min()) &&
         value <= static_cast<Widest>(Limits::max()) && std::trunc(value) == value;
}

// False if a value is out of the range of the target's elements, or not whole where they are.
template <class From, class To>
bool convert(const void* source, void* target, std::size_t count, bool toTruth) {
  const auto* from = static_cast<const From*>(source);
  auto* to = static_cast<To*>(target);
  for (std::size_t i = 0; i < count; ++i) {
    auto value = static_cast<Widest>(from[i]);
    if (toTruth && !std::isnan(value)) value = value != 0 ? 1 : 0;
    if (!holds<To>(value)) return false;
    to[i] = static_cast<To>(value);
  }
  return true;
}

bool convertElements(int fromClass, const void* source, int toClass, void* target,
                     std::size_t count) {
  return withElementType(fromClass, [&]<class From>(std::type_identity<From>) {
    return withElementType(toClass, [&]<class To>(std::type_identity<To>) {
      return convert<From, To>(source, target, count, toClass == vrLOGICAL_CLASS);
    });
  });
}

}  // namespace

bool hasElements(const vrArray* array) {
  const int classID = vrGetClassID(array);
  return numberClass(classID) != nullptr || classID == vrCHAR_CLASS;
}

OwnedArray zeros(std::size_t dimensionCount, const std::size_t* dimensions, int classID,
                 bool isComplex) {
  if (classID == vrCHAR_CLASS) return OwnedArray(vrCreateCharArray_730(dimensionCount, dimensions));
  return OwnedArray(
      vrCreateNumericArray_730(dimensionCount, dimensions, classID, isComplex ? 1 : 0));
}

OwnedArray cast(const vrArray* array, int classID, const std::string& className) {
  const bool isComplex = vrIsComplex(array);
  if (isComplex && (classID == vrLOGICAL_CLASS || classID == vrCHAR_CLASS)) {
    refuseForClass("a complex number", className);
  }
  OwnedArray target =
      zeros(vrGetNumberOfDimensions_730(array), vrGetDimensions_730(array), classID, isComplex);
  const std::size_t count = vrGetNumberOfElements(array);
  const int fromClass = vrGetClassID(array);
  bool fits = convertElements(fromClass, vrGetData(array), classID, vrGetData(target.get()), count);
  if (isComplex) {
    fits = fits && convertElements(fromClass, vrGetImagData(array), classID,
                                   vrGetImagData(target.get()), count);
  }
  if (!fits) refuseForClass("a number out of its range, or not a whole one,", className);
  return target;
}

void refuseForClass(const std::string& what, const std::string& className) {
  throw CallRefused("NotConvertible", what + " has no host array of class \"" + className + '"');
}

}  // namespace vormel::python
