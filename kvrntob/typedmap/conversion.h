// From host arrays to native keys and values, and back. Each rule depends on one type, never on a
// pair of types.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kvrntob/host/libvr.h"

// Owner of an array that an "any" map keeps, on its way into the container and out of it. Inside
// the container it is a plain pointer.
//
// Object handles are kept as shared copies; all other arrays in the form in which a native object
// may keep an array beyond the call.
class AnyValue {
 public:
  // Makes the array that the map keeps for `value`, which is borrowed.
  static AnyValue store(const vrArray* value);

  // Takes over an array made by store(), or null.
  explicit AnyValue(vrArray* stored) noexcept : stored_(stored) {}
  AnyValue(const AnyValue&) = delete;
  AnyValue& operator=(const AnyValue&) = delete;
  ~AnyValue();

  vrArray* get() const noexcept { return stored_; }
  vrArray* release() noexcept { return std::exchange(stored_, nullptr); }

 private:
  vrArray* stored_;
};

namespace typedmap {

// ---- From host arrays. `label`, "key" or "value", is the word of the failure. ----

// The number of a real scalar, numeric or logical. Fails with TYPE_MISMATCH(label) for any other.
double requireScalar(const vrArray* array, const char* label);

// The same for a floating-point key. Fails likewise for NaN.
double requireNumber(const vrArray* array, const char* label);

// Whether the number of such a scalar, as vrGetScalarInt reads it, is not 0.
bool requireTruth(const vrArray* array, const char* label);

// The bytes of a character array of any shape, in storage order, two per character: a view into the
// array. Fails with TYPE_MISMATCH(label) for any other class.
std::string_view requireCharacters(const vrArray* array, const char* label);

// The nearest T. Rounds half away from zero by adding a half and truncating the sum, in double
// arithmetic, as required. Numbers outside the range of T give the nearer limit; NaN gives 0.
template <class T>
T saturate(double x) {
  using Limits = std::numeric_limits<T>;
  constexpr auto lowest = static_cast<double>(Limits::min());
  // The highest 64-bit integers are not doubles, but the first integer above each type is.
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

// The number of such a scalar as the nearest T. Even 64-bit integers pass through a double.
template <class T>
T saturatingConvert(const vrArray* array, const char* label) {
  return saturate<T>(requireScalar(array, label));
}

// A double beyond the range of float narrows to an infinity.
static_assert(std::numeric_limits<float>::is_iec559);

// Reads a key as a DataMap<K, V>::KeyView.
template <class K>
auto readKey(const vrArray* key, const char* label) {
  if constexpr (std::is_same_v<K, std::string>) {
    return requireCharacters(key, label);
  } else if constexpr (std::is_floating_point_v<K>) {
    return static_cast<K>(requireNumber(key, label));  // narrowing never makes a NaN
  } else {
    return saturatingConvert<K>(key, label);
  }
}

// Reads a value. For "any" maps every array is accepted, and the result owns a copy.
template <class V>
auto readValue(const vrArray* value, const char* label) {
  if constexpr (std::is_same_v<V, vrArray*>) {
    return AnyValue::store(value);
  } else if constexpr (std::is_same_v<V, std::string>) {
    return std::string(requireCharacters(value, label));
  } else if constexpr (std::is_same_v<V, bool>) {
    return requireTruth(value, label);
  } else if constexpr (std::is_floating_point_v<V>) {
    return static_cast<V>(requireScalar(value, label));
  } else {
    return saturatingConvert<V>(value, label);
  }
}

// ---- To host arrays: new ones, owned by the caller. ----

// A 1-by-1 array of the class, with the bytes of a number. Null when memory is exhausted.
vrArray* makeScalarArray(int classID, const void* number, std::size_t size);

// A row of characters, two bytes each.
vrArray* makeCharacterRow(std::string_view bytes);

template <class T>
constexpr int classOf = vrUNKNOWN_CLASS;
#define VALUE(hostClass, typeName, Native) \
  template <>                              \
  inline constexpr int classOf<Native> = hostClass;
#include "kvrntob/typedmap/wrapper_types.def"

// The array for a native key or value. A stored "any" value gives a copy that shares its data.
template <class T>
vrArray* makeArray(const T& native) {
  if constexpr (std::is_same_v<T, vrArray*>) {
    return vrCreateSharedDataCopy(native);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return makeCharacterRow(native);
  } else if constexpr (std::is_same_v<T, double>) {
    return vrCreateDoubleScalar(native);
  } else {
    return makeScalarArray(classOf<T>, &native, sizeof native);
  }
}

}  // namespace typedmap
