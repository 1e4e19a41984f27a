#include "kvrntob/base/host_arrays.h"

#include <cstring>

#include "kvrntob/host/v_interpreter.h"

namespace kvr {

namespace {

vrArray* makeNumeric(int classID, std::size_t rows, std::size_t columns, const void* elements) {
  const std::size_t dimensions[] = {rows, columns};
  vrArray* array = vrCreateNumericArray_730(2, dimensions, classID, /*complexity=*/0);
  const std::size_t count = rows * columns;
  if (count != 0) std::memcpy(vrGetData(array), elements, count * vrGetElementSize(array));
  return array;
}

// The host promises class numbers by name only. Each is looked up once: a look-up takes 0.15 to 0.3
// microseconds, and getSignal makes eight such arrays.
int int32Class() {
  static const int classID = vrClassIDFromClassName("int32");
  return classID;
}

int doubleClass() {
  static const int classID = vrClassIDFromClassName("double");
  return classID;
}

}  // namespace

SharedArray keepBeyondCall(vrArray* array) {
  SharedArray owner(array, ArrayDeleter());
  vrSetArrayScope(array, 0);
  return owner;
}

vrArray* makeInt32(int32 value) { return makeNumeric(int32Class(), 1, 1, &value); }

vrArray* makeInt32Row(const std::vector<int32>& values) {
  return makeNumeric(int32Class(), 1, values.size(), values.data());
}

vrArray* makeEmptyInt32() { return makeNumeric(int32Class(), 0, 0, nullptr); }

vrArray* makeDouble(double value) { return makeNumeric(doubleClass(), 1, 1, &value); }

vrArray* makeDoubleRow(const std::vector<double>& values) {
  return makeNumeric(doubleClass(), 1, values.size(), values.data());
}

vrArray* makeString(const std::string& text) { return vrCreateString(text.c_str()); }

vrArray* makeStructure(std::span<const char* const> fieldNames) {
  const std::size_t dimensions[] = {1, 1};
  return vrCreateStructArray_730(2, dimensions, static_cast<int>(fieldNames.size()),
                                 fieldNames.data());
}

OwnedArray callHostFunction(const char* name, OnFailure onFailure) {
  vrArray* result = nullptr;
  const int trap = onFailure == OnFailure::ReturnNull ? 1 : 0;
  ipCallFcnWithTrap(1, &result, 0, nullptr, name, trap);
  return OwnedArray(result);
}

}  // namespace kvr
