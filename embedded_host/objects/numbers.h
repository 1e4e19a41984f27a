// What the host takes for a number where it converts one.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "kvrntob/host/libvr.h"

namespace vormel {

// Real numeric, or logical; of any size.
inline bool isReal(const vrArray* array) {
  return vrIsNumeric(array) ? !vrIsComplex(array) : vrGetClassID(array) == vrLOGICAL_CLASS;
}

inline bool isRealScalar(const vrArray* array) { return vrIsScalar(array) && isReal(array); }

inline bool isWholeInt32(double value) {
  return value >= std::numeric_limits<std::int32_t>::min() &&
         value <= std::numeric_limits<std::int32_t>::max() && value == std::trunc(value);
}

}  // namespace vormel
