// From host arrays to native keys and values, and back. One rule per type, none per pair.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "kvrntob/host/libvr.h"
#include "kvrntob/typedmap/any_value.h"
#include "kvrntob/typedmap/saturate.h"

namespace typedmap {

// ---- From host arrays. `label` is "key" or "value", the word of a failure. ----

// The number of a real scalar, numeric or logical. Fails with TYPE_MISMATCH(label) for any other.
double requireScalar(const vrArray* array, const char* label);

// The same for a floating-point key. Fails likewise for NaN.
double requireScalarButNaN(const vrArray* array, const char* label);

// Whether the number of such a scalar, as vrGetScalarInt reads it, is not 0.
bool requireTruth(const vrArray* array, const char* label);

// The bytes of a character array of any shape, in storage order, two a character. They lie in the
// array. Fails with TYPE_MISMATCH(label) for any other class.
std::string_view requireCharacters(const vrArray* array, const char* label);

// The number of such a scalar as the nearest T. 64-bit integers, too, travel through a double.
template <class T>
T saturatingConvert(const vrArray* array, const char* label) {
  return saturate<T>(requireScalar(array, label));
}

// A double beyond the range of float narrows to an infinity.
static_assert(std::numeric_limits<float>::is_iec559);

// How a key is read: as what DataMap<K, V>::KeyView names it by.
template <class K>
auto readKey(const vrArray* key, const char* label) {
  if constexpr (std::is_same_v<K, std::string>) {
    return requireCharacters(key, label);
  } else if constexpr (std::is_floating_point_v<K>) {
    return static_cast<K>(requireScalarButNaN(key, label));  // no other number narrows to NaN
  } else {
    return saturatingConvert<K>(key, label);
  }
}

// How a value is read. An "any" value, which is anything, comes with its owner.
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

// ---- To host arrays: new arrays of the caller's. ----

// A 1-by-1 array of the class, with the bytes of a number. Null when memory is exhausted.
vrArray* makeScalarArray(int classID, const void* number, std::size_t size);

// A row of the characters that the bytes are, two bytes each.
vrArray* makeCharacterRow(std::string_view bytes);

template <class T>
constexpr int classOf = vrUNKNOWN_CLASS;
#define VALUE(hostClass, typeName, Native) \
  template <>                              \
  inline constexpr int classOf<Native> = hostClass;
#include "kvrntob/typedmap/wrapper_types.def"

// What a native key or value is to the host. A stored "any" value gives a copy that shares its
// data.
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
