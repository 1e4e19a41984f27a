// Host arrays for tests, each owned by what is returned.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "embedded_host/arrays/arrays.h"

namespace kvr::test {

using vormel::OwnedArray;

// A new array, off any list.
inline OwnedArray owned(vrArray* array) {
  vrSetArrayScope(array, 0);
  return OwnedArray(array);
}

inline OwnedArray aNumber(double value) { return owned(vrCreateDoubleScalar(value)); }
inline OwnedArray aTruth(bool value) { return owned(vrCreateLogicalScalar(value)); }
inline OwnedArray aText(const std::string& utf8) { return owned(vrCreateString(utf8.c_str())); }

// Zero-filled, real.
inline OwnedArray aNumeric(int classID, const std::vector<std::size_t>& dimensions) {
  return owned(vrCreateNumericArray_730(dimensions.size(), dimensions.data(), classID, 0));
}
inline OwnedArray anEmpty() { return aNumeric(vrDOUBLE_CLASS, {0, 0}); }
inline OwnedArray aComplex(int classID, const std::vector<std::size_t>& dimensions) {
  return owned(vrCreateNumericArray_730(dimensions.size(), dimensions.data(), classID, 1));
}
inline OwnedArray someCharacters(const std::vector<std::size_t>& dimensions) {
  return owned(vrCreateCharArray_730(dimensions.size(), dimensions.data()));
}

// The array with these elements, column by column.
template <class T>
OwnedArray filled(OwnedArray array, const std::vector<T>& values) {
  std::copy(values.begin(), values.end(), static_cast<T*>(vrGetData(array.get())));
  return array;
}

template <class T>
OwnedArray aScalar(int classID, T value) {
  return filled<T>(aNumeric(classID, {1, 1}), {value});
}
inline OwnedArray anInt32(std::int32_t value) { return aScalar(vrINT32_CLASS, value); }
inline OwnedArray aRow(const std::vector<double>& values) {
  return filled(aNumeric(vrDOUBLE_CLASS, {1, values.size()}), values);
}
inline OwnedArray aColumn(const std::vector<double>& values) {
  return filled(aNumeric(vrDOUBLE_CLASS, {values.size(), 1}), values);
}

// A structure array whose fields are 0-by-0 doubles.
inline OwnedArray aStruct(const std::vector<const char*>& fields,
                          const std::vector<std::size_t>& dimensions = {1, 1}) {
  return owned(vrCreateStructArray_730(dimensions.size(), dimensions.data(),
                                       static_cast<int>(fields.size()), fields.data()));
}
inline OwnedArray aCell(const std::vector<std::size_t>& dimensions = {1, 1}) {
  return owned(vormel::makeCell(dimensions.size(), dimensions.data()));
}
inline OwnedArray anObject(const std::string& className,
                           const std::vector<std::size_t>& dimensions = {1, 1}) {
  return owned(vormel::makeObject(className, dimensions.size(), dimensions.data()));
}

// A value object of class timeseries with the properties Data and Time.
inline OwnedArray aTimeseries(const std::vector<double>& data, const std::vector<double>& time) {
  OwnedArray object = anObject("timeseries");
  vrSetProperty_730(object.get(), 0, "Data", aColumn(data).get());
  vrSetProperty_730(object.get(), 0, "Time", aColumn(time).get());
  return object;
}

// The elements of an array of double.
inline std::vector<double> numbersOf(const vrArray* array) {
  const auto* data = static_cast<const double*>(vrGetData(array));
  return {data, data + vrGetNumberOfElements(array)};
}

}  // namespace kvr::test
