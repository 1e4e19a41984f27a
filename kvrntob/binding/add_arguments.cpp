#include "kvrntob/binding/add_arguments.h"

#include <algorithm>
#include <cstring>

#include "kvrntob/base/failure.h"
#include "kvrntob/binding/arguments.h"

namespace kvr {

namespace {

int32 readNumber(const vrArray* array, bool (*isFit)(const vrArray*), const char* kindLabel,
                 const char* signLabel) {
  if (vrIsEmpty(array)) return 0;
  if (!isFit(array)) raiseFromMessage(KVR::kvr::NOT_INTEGER_SCALAR(kindLabel));
  const int32 value = readTruncated(array);
  if (value < 0) raiseFromMessage(KVR::kvr::NOT_POSITIVE(signLabel));
  return value;
}

// As many 32-bit words as the vector has elements, from the start of its storage. Those of narrower
// classes do not reach that far; what lies beyond reads as zero.
std::vector<int32> readWords(const vrArray* vector) {
  const std::size_t count = vrGetNumberOfElements(vector);
  std::vector<int32> words(count);
  const std::size_t wordSize = std::min(sizeof(int32), vrGetElementSize(vector));
  std::memcpy(words.data(), vrGetData(vector), count * wordSize);
  return words;
}

template <class NotVector>
std::vector<int32> readList(const vrArray* array, const char* label) {
  if (vrIsEmpty(array)) return {};
  if (!isIntegerClass(array)) raiseFromMessage(KVR::kvr::NOT_INTEGER(label));
  if (vrGetNumberOfDimensions_730(array) > 2 || std::min(vrGetM(array), vrGetN(array)) > 1)
    raiseFromMessage(NotVector(label));
  return readWords(array);
}

}  // namespace

int32 readTimeDimension(const vrArray* array) {
  return readNumber(array, isNumericScalar, "Time Dimension", "Time Dimension");
}

std::vector<int32> readSampleDimensions(const vrArray* array) {
  return readList<KVR::kvr::NOT_VECTOR>(array, "sample dimensions");
}

int32 readPortIndex(const vrArray* array) {
  return readNumber(array, isIntegerScalar, "Port Index", "Port Index");
}

std::vector<int32> readChannel(const vrArray* array) {
  return readList<KVR::kvr::NOT_1BY2VECTOR>(array, "channel");
}

int32 readParent(const vrArray* array) {
  return readNumber(array, isNumericScalar, "Parent data id", "Parent id");
}

}  // namespace kvr
