// The methods that set something of a signal, in a table of what differs between them: handle,
// signal id, value; or handle, run id, index, value.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/array_builders.h"
#include "tests/support/struct_builder.h"

namespace kvr::test {

using Makers = std::vector<OwnedArray (*)()>;

inline OwnedArray half() { return aNumber(0.5); }
inline OwnedArray truth() { return aTruth(true); }
inline OwnedArray someText() { return aText("text"); }
inline OwnedArray syncWord() { return aText("uniform"); }
inline OwnedArray interpWord() { return aText("linear"); }
inline OwnedArray fieldlessStruct() { return aStruct({}); }
inline OwnedArray point() { return anObject("point"); }
inline OwnedArray emptyCell() { return aCell(); }
inline OwnedArray int32Two() { return anInt32(2); }
inline OwnedArray singleTwo() { return aScalar<float>(vrSINGLE_CLASS, 2); }
inline OwnedArray twoNumbers() { return aRow({1, 2}); }
inline OwnedArray twoTruths() { return aNumeric(vrLOGICAL_CLASS, {1, 2}); }
inline OwnedArray noTruth() { return aNumeric(vrLOGICAL_CLASS, {0, 0}); }
inline OwnedArray twoInt32s() { return aNumeric(vrINT32_CLASS, {2, 1}); }
inline OwnedArray noInt32() { return aNumeric(vrINT32_CLASS, {1, 0}); }
inline OwnedArray toleranceStructure() { return toleranceFields().build(); }
inline OwnedArray syncStructure() { return syncFields().build(); }

// A kind of value: one that passes, some that do not, and the class of the failure then.
struct ValueKind {
  OwnedArray (*good)();
  Makers bad;
  const char* failure;
};

inline const ValueKind kDoubleScalar{
    half,
    {int32Two, singleTwo, truth, someText, anEmpty, twoNumbers, emptyCell, fieldlessStruct, point},
    "NOT_NUMERIC_SCALAR"};
inline const ValueKind kNumericScalar{
    half,
    {truth, someText, anEmpty, twoNumbers, twoInt32s, emptyCell, fieldlessStruct, point},
    "NOT_NUMERIC_SCALAR"};
inline const ValueKind kLogicalScalar{
    truth,
    {half, int32Two, someText, twoTruths, noTruth, anEmpty, emptyCell, fieldlessStruct, point},
    "NOT_LOGICAL_SCALAR"};
inline const Makers kNoCharacters{half,    int32Two,  truth,           anEmpty,
                                  noInt32, emptyCell, fieldlessStruct, point};
inline const ValueKind kCharacters{someText, kNoCharacters, "INPUT_MISMATCH"};
inline const ValueKind kSyncWord{syncWord, kNoCharacters, "INPUT_MISMATCH"};
inline const ValueKind kInterpWord{interpWord, kNoCharacters, "INPUT_MISMATCH"};
inline const ValueKind kStructOrObject{
    toleranceStructure, {half, truth, someText, anEmpty, emptyCell}, "INPUT_MISMATCH"};
// The class of an object does not pass here.
inline const ValueKind kStruct{
    syncStructure, {half, truth, someText, anEmpty, emptyCell, point}, "INPUT_MISMATCH"};
inline const ValueKind kAnything{someText, {}, ""};

enum class FirstInput {
  Typed,     // int32 scalar
  Untested,  // any, read as a number whatever it is
  Tested     // any, an integer scalar
};
enum class Order {
  IndexFirst,
  ValueFirst
};
enum class IndexRead {
  AsStored,  // the first 32 bits of storage
  AsNumber
};

struct SettingMethod {
  const char* name;
  const ValueKind& value;
  const char* word;        // of the failure of the value at three inputs
  const char* wordAtFour;  // and at four
  const char* indexWord;
  FirstInput first;
  Order order;
  IndexRead indexRead;
};

inline const std::vector<SettingMethod>& settingMethods() {
  using enum FirstInput;
  using enum Order;
  using enum IndexRead;
  constexpr const char* ID = "Index or Data Run ID";
  constexpr const char* ABS = "Absolute tolerance";
  constexpr const char* INIT = "Initial Absolute Tolerance";
  constexpr const char* CHARS = "string of characters";
  // clang-format off
  static const std::vector<SettingMethod> all{
    // Those two name the absolute tolerance, both.
    {"setAbsoluteTolerance", kDoubleScalar, ABS, ABS, "Index", Untested, IndexFirst, AsStored},
    {"setRelativeTolerance", kDoubleScalar, ABS, ABS, "Index", Untested, IndexFirst, AsStored},
    {"setVisibility", kLogicalScalar, "Visibility", "Visibility", "Index", Untested, IndexFirst, AsStored},
    {"setMetaData", kAnything, "", "", "Index", Untested, IndexFirst, AsStored},
    {"setFcnCallTol", kCharacters, CHARS, CHARS, "Index", Typed, ValueFirst, AsNumber},
    {"setSyncMethod", kSyncWord, CHARS, CHARS, "Index", Typed, ValueFirst, AsNumber},
    {"setInterpMethod", kInterpWord, CHARS, CHARS, "Index", Typed, ValueFirst, AsNumber},
    {"setCustomSyncMethod", kCharacters, CHARS, CHARS, "Index", Typed, ValueFirst, AsNumber},
    {"setRelStep", kNumericScalar, "Relative step", "Relative step", "Index", Typed, ValueFirst, AsNumber},
    {"setAbsStep", kNumericScalar, "Absolute step", "Absolute step", "Index", Typed, ValueFirst, AsNumber},
    {"setTimeStart", kNumericScalar, "Time Start", "Time Start", "Index", Typed, ValueFirst, AsNumber},
    {"setTimeEnd", kNumericScalar, "Time End", "Time End", "Index", Typed, ValueFirst, AsNumber},
    // Names another field with run and index.
    {"setTimeStep", kNumericScalar, "Time step", "Time Start", "Index", Typed, ValueFirst, AsNumber},
    {"setInitAbsTolVal", kNumericScalar, INIT, INIT, "Index", Typed, ValueFirst, AsNumber},
    // Names the absolute value.
    {"setInitRelTolVal", kNumericScalar, INIT, INIT, "Index", Typed, ValueFirst, AsNumber},
    {"setUniformTimeInterval", kNumericScalar, "Uniform Time Interval", "Uniform Time Interval", "Index", Typed, ValueFirst, AsNumber},
    {"setSyncOptions", kStruct, "struct", "struct", ID, Typed, ValueFirst, AsNumber},
    {"setTolerance", kStructOrObject, "struct", "struct", ID, Tested, IndexFirst, AsNumber},
  };
  // clang-format on
  return all;
}

}  // namespace kvr::test
