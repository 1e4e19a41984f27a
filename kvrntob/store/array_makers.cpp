#include "kvrntob/store/array_makers.h"

#include <cstring>

namespace kvr {

namespace {

vrArray* makeNumeric(const char* className, std::size_t rows, std::size_t columns,
                     const void* elements) {
  const std::size_t dimensions[] = {rows, columns};
  vrArray* array =
      vrCreateNumericArray_730(2, dimensions, vrClassIDFromClassName(className), /*complexity=*/0);
  const std::size_t count = rows * columns;
  if (count != 0) std::memcpy(vrGetData(array), elements, count * vrGetElementSize(array));
  return array;
}

}  // namespace

vrArray* makeInt32(int32 value) { return makeNumeric("int32", 1, 1, &value); }

vrArray* makeInt32Row(const std::vector<int32>& values) {
  return makeNumeric("int32", 1, values.size(), values.data());
}

vrArray* makeInt32Empty() { return makeNumeric("int32", 0, 0, nullptr); }

vrArray* makeDouble(double value) { return makeNumeric("double", 1, 1, &value); }

vrArray* makeDoubleRow(const std::vector<double>& values) {
  return makeNumeric("double", 1, values.size(), values.data());
}

vrArray* makeString(const std::string& text) { return vrCreateString(text.c_str()); }

vrArray* makeStructure(std::span<const char* const> fieldNames) {
  const std::size_t dimensions[] = {1, 1};
  return vrCreateStructArray_730(2, dimensions, static_cast<int>(fieldNames.size()),
                                 fieldNames.data());
}

}  // namespace kvr
