#include "tests/models/map_model.h"

#include <cmath>
#include <limits>

#include "tests/models/signatures.h"

namespace kvr::models {
namespace {

// Class numbers 3 to 15; 5 is none.
const char* const kTypeNames[] = {nullptr,  nullptr,  nullptr, "logical", "char",  nullptr,
                                  "double", "single", "int8",  "uint8",   "int16", "uint16",
                                  "int32",  "uint32", "int64", "uint64"};

std::string typeName(int classID) {
  if (classID < 0 || classID > vrUINT64_CLASS || kTypeNames[classID] == nullptr) return "";
  return kTypeNames[classID];
}

int classOf(const std::string& type) {
  for (int id = vrLOGICAL_CLASS; id <= vrUINT64_CLASS; ++id)
    if (typeName(id) == type) return id;
  return 0;
}

std::string keyTypeOf(const PlainArray& sample) {
  const std::string type = typeName(sample.classID);
  if (type.empty()) fail("UNSUPPORTED_KEY");
  const bool narrow = type == "logical" || (isInteger(sample) && elementSize(sample.classID) < 4);
  return narrow ? "double" : type;
}

double requireScalar(const PlainArray& array, const char* label) {
  const bool logical = array.classID == vrLOGICAL_CLASS;
  if (!isScalar(array) || !(isNumeric(array) || logical) || array.complex)
    fail("TYPE_MISMATCH", label);
  return firstNumber(array);
}

// Half away from zero, in double arithmetic; numbers that have no fraction stay.
double rounded(double x) {
  if (std::abs(x) >= 4503599627370496.0) return x;
  return x < 0 ? std::trunc(x - 0.5) : std::trunc(x + 0.5);
}

template <class T>
PlainArray saturated(int classID, double x) {
  constexpr T low = std::numeric_limits<T>::min();
  constexpr T high = std::numeric_limits<T>::max();
  const double above = std::ldexp(1.0, std::numeric_limits<T>::digits);  // the first too high
  T value = 0;
  if (std::isnan(x)) {
    value = 0;
  } else if (x < static_cast<double>(low)) {
    value = low;
  } else if (x >= above || (sizeof(T) < 8 && x > static_cast<double>(high))) {
    value = high;
  } else {
    value = static_cast<T>(rounded(x));
  }
  return {.classID = classID, .dimensions = {1, 1}, .real = bytesOf(value)};
}

PlainArray saturate(int classID, double x) {
  switch (classID) {
    case vrINT8_CLASS:
      return saturated<std::int8_t>(classID, x);
    case vrUINT8_CLASS:
      return saturated<std::uint8_t>(classID, x);
    case vrINT16_CLASS:
      return saturated<std::int16_t>(classID, x);
    case vrUINT16_CLASS:
      return saturated<std::uint16_t>(classID, x);
    case vrINT32_CLASS:
      return saturated<std::int32_t>(classID, x);
    case vrUINT32_CLASS:
      return saturated<std::uint32_t>(classID, x);
    case vrINT64_CLASS:
      return saturated<std::int64_t>(classID, x);
    default:
      return saturated<std::uint64_t>(classID, x);
  }
}

// What a key or a value of a type other than "any" becomes.
PlainArray convert(const std::string& type, const PlainArray& array, const char* label) {
  if (type == "char") {
    if (!isText(array)) fail("TYPE_MISMATCH", label);
    PlainArray row = array;
    row.dimensions = {1, elementCount(array)};
    return row;
  }
  const double x = requireScalar(array, label);
  if (type == "logical") return truth(valueReading(array) != 0);
  const int classID = classOf(type);
  if (type == "double" || type == "single") return number(classID, x);
  return saturate(classID, x);
}

// As == of the native types: the two zeros are equal, NaN equals nothing.
bool same(const PlainArray& a, const PlainArray& b) {
  if (a.classID == vrDOUBLE_CLASS || a.classID == vrSINGLE_CLASS)
    return firstNumber(a) == firstNumber(b);
  return a == b;
}

}  // namespace

MapModel::MapModel(const PlainArray& keySample, const PlainArray& valueSample) {
  if (isEmpty(keySample)) fail("EMPTY_KEY");
  if (!isScalar(keySample)) fail("ARRAY_KEYS_NOT_ALLOWED");
  if (isEmpty(valueSample)) fail("KEY_NEEDS_VALUE");
  keyType_ = keyTypeOf(keySample);
  valueType_ = isScalar(valueSample) ? typeName(valueSample.classID) : "";
  if (valueType_.empty()) valueType_ = "any";
}

PlainArray MapModel::convertKey(const PlainArray& key) const {
  PlainArray native = convert(keyType_, key, "key");
  const bool floating = keyType_ == "double" || keyType_ == "single";
  if (floating && std::isnan(firstNumber(native))) fail("TYPE_MISMATCH", "key");
  return native;
}

PlainArray MapModel::convertValue(const PlainArray& value) const {
  return valueType_ == "any" ? value : convert(valueType_, value, "value");
}

int32 MapModel::find(const PlainArray& nativeKey) const {
  for (std::size_t i = 0; i < pairs_.size(); ++i)
    if (same(pairs_[i].first, nativeKey)) return static_cast<int32>(i) + 1;
  return 0;
}

std::size_t MapModel::place(int32 index) const {
  if (index < 1 || index > count()) fail("INDEX_OUT_OF_BOUNDS");
  return static_cast<std::size_t>(index) - 1;
}

void MapModel::put(const PlainArray& key, const PlainArray& value) {
  const PlainArray nativeKey = convertKey(key);
  const PlainArray nativeValue = convertValue(value);
  const int32 index = find(nativeKey);
  if (index == 0) {
    pairs_.emplace_back(nativeKey, nativeValue);
  } else if (valueType_ == "any" || !same(valueAt(index), nativeValue)) {
    pairs_[place(index)].second = nativeValue;
  }
}

bool MapModel::isKey(const PlainArray& key) const { return find(convertKey(key)) != 0; }

int32 MapModel::indexOf(const PlainArray& key) const {
  const int32 index = find(convertKey(key));
  if (index == 0) fail("KEY_NOT_IN_MAP");
  return index;
}

const PlainArray& MapModel::keyAt(int32 index) const { return pairs_[place(index)].first; }
const PlainArray& MapModel::valueAt(int32 index) const { return pairs_[place(index)].second; }

void MapModel::remove(int32 index) {
  pairs_.erase(pairs_.begin() + static_cast<std::ptrdiff_t>(place(index)));
}

std::size_t MapModel::clear() {
  std::size_t left = 0;
  for (const auto& [key, value] : pairs_)
    if (valueType_ == "any") left += arrayCount(value);
  pairs_.clear();
  return left;
}

}  // namespace kvr::models
