// The forms in which methods take a signal, told apart by the number of inputs, each written once.
//
// A signal is addressed by its id, or by a run id and an index in that run, one input more.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "kvrntob/base/failure.h"
#include "kvrntob/binding/arguments.h"
#include "kvrntob/binding/call.h"

namespace kvr {

// Reading methods: typed inputs, two or three. Fails with INVALID_SIGNATURE for another number,
// then as signalIDByRunIndex.
inline int32 signalOf(const SignalRepository& store, const Call& call) {
  if (call.inputCount == 2) return call.in[1].int32Value;
  if (call.inputCount != 3) raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
  return store.signalIDByRunIndex(call.in[1].int32Value, call.in[2].int32Value);
}

// Setting methods: three inputs (handle, signal id, value) or four (handle, run id, index, value).
// What differs between them:
struct SettingForm {
  int32 (*readFirst)(const ArgumentCell&);  // of cell 1, before the inputs are counted
  bool testsValueFirst;                     // at four inputs: the value before the index?
  int32 (*readIndex)(const vrArray*);
  const char* indexLabel;
};

// Ways to read cell 1: declared "int32 scalar", or declared "any" and truncated with or without a
// test.
inline int32 declaredInt32(const ArgumentCell& cell) { return cell.int32Value; }
inline int32 anyNumber(const ArgumentCell& cell) { return readTruncated(cell.array); }
inline int32 integerScalar(const ArgumentCell& cell) {
  requireIntegerScalar(cell.array, "Index or Data Run ID");
  return readTruncated(cell.array);
}

// The forms, named by the class that the id may have and by what is tested first at four inputs.
inline constexpr SettingForm anyIDIndexFirst{anyNumber, false, readFirst32Bits, "Index"};
inline constexpr SettingForm typedIDValueFirst{declaredInt32, true, readTruncated, "Index"};
// The same, except that a bad index is named "Index or Data Run ID".
inline constexpr SettingForm typedIDStructFirst{declaredInt32, true, readTruncated,
                                                "Index or Data Run ID"};
inline constexpr SettingForm integerIDIndexFirst{integerScalar, false, readTruncated,
                                                 "Index or Data Run ID"};

template <class Value>
struct Setting {
  int32 signal;
  Value value;
};

// Takes signal and value out of a call. `read` tests and reads the value: a callable of the array
// and the number of inputs. Fails with INVALID_SIGNATURE for another number than three or four;
// at four with NOT_INTEGER_SCALAR(form.indexLabel), before or after `read` fails, then as
// signalIDByRunIndex.
template <class Reader>
auto readSetting(const SettingForm& form, const SignalRepository& store, const Call& call,
                 Reader read) -> Setting<decltype(read(call.in[2].array, 3))> {
  const int32 first = form.readFirst(call.in[1]);
  if (call.inputCount == 3) return {first, read(call.in[2].array, 3)};
  if (call.inputCount != 4) raiseFromMessage(KVR::kvr::INVALID_SIGNATURE());
  const auto readIndex = [&] {
    requireIntegerScalar(call.in[2].array, form.indexLabel);
    return form.readIndex(call.in[2].array);
  };
  if (form.testsValueFirst) {
    auto value = read(call.in[3].array, 4);
    const int32 index = readIndex();
    return {store.signalIDByRunIndex(first, index), std::move(value)};
  }
  const int32 index = readIndex();
  auto value = read(call.in[3].array, 4);
  return {store.signalIDByRunIndex(first, index), std::move(value)};
}

// ---- Readers of values ----

// Class double, one element, complex or not. Fails with NOT_NUMERIC_SCALAR(label).
struct DoubleScalar {
  const char* label;
  double operator()(const vrArray* array, int) const {
    if (vrGetClassID(array) != vrDOUBLE_CLASS || !vrIsScalar(array))
      raiseFromMessage(KVR::kvr::NOT_NUMERIC_SCALAR(label));
    return vrGetScalar(array);
  }
};

// Any numeric class, one element, complex or not. Fails with NOT_NUMERIC_SCALAR of the label for
// the number of inputs.
struct NumericScalar {
  const char* label;
  const char* labelAtFour = label;
  double operator()(const vrArray* array, int inputCount) const {
    if (!isNumericScalar(array))
      raiseFromMessage(KVR::kvr::NOT_NUMERIC_SCALAR(inputCount == 4 ? labelAtFour : label));
    return vrGetScalar(array);
  }
};

// Class logical, one element. Fails with NOT_LOGICAL_SCALAR("Visibility").
struct LogicalScalar {
  bool operator()(const vrArray* array, int) const {
    if (vrGetClassID(array) != vrLOGICAL_CLASS || !vrIsScalar(array))
      raiseFromMessage(KVR::kvr::NOT_LOGICAL_SCALAR("Visibility"));
    return readTruth(array);
  }
};

// Class char, any shape. Fails with INPUT_MISMATCH("string of characters").
struct CharacterArray {
  std::string operator()(const vrArray* array, int) const {
    requireCharacters(array);
    return vrArrayToStdString(array);
  }
};

// The same, parsed into a code. Fails then as the parser.
struct Keyword {
  int32 (*parse)(std::string_view);
  int32 operator()(const vrArray* array, int inputCount) const {
    return parse(CharacterArray()(array, inputCount));
  }
};

// The array itself, borrowed. Fail with INPUT_MISMATCH("struct").
struct StructOnly {
  const vrArray* operator()(const vrArray* array, int) const {
    requireStruct(array);
    return array;
  }
};
struct StructOrObject {
  const vrArray* operator()(const vrArray* array, int) const {
    requireStructOrObject(array);
    return array;
  }
};

// A copy for the store that shares its elements with the array.
struct SharedCopy {
  SharedArray operator()(const vrArray* array, int) const {
    return keepBeyondCall(vrCreateSharedDataCopy(array));
  }
};

}  // namespace kvr
