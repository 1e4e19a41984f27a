// From a double to the nearest integer of a type.
#pragma once

#include <cmath>
#include <limits>

namespace typedmap {

// Rounds half away from zero: literally, half is added and the sum truncated, in double arithmetic.
// Numbers beyond T give the limit of T that they are beyond; NaN gives 0.
template <class T>
T saturate(double x) {
  using Limits = std::numeric_limits<T>;
  constexpr auto lowest = static_cast<double>(Limits::min());
  // The highest 64-bit integers are no doubles, but the first integer above each type is one.
  constexpr double firstAbove = 2.0 * (Limits::max() / 2 + 1);

  if (std::isnan(x)) return 0;
  if (x < lowest) return Limits::min();
  if (x >= firstAbove - 0.5) return Limits::max();
  if constexpr (Limits::digits > 52) {
    constexpr double twoTo52 = 4503599627370496.0;  // from here on a double has no fraction
    if (std::fabs(x) >= twoTo52) return static_cast<T>(x);
  }
  return static_cast<T>(x < 0 ? x - 0.5 : x + 0.5);
}

}  // namespace typedmap
