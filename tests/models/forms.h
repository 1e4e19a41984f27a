// The argument forms of the repository's methods, and the tests of "any" inputs.
#pragma once

#include "tests/models/world.h"

namespace kvr::models {

inline void requireIntegerScalar(const PlainArray& array, const char* label) {
  if (!isInteger(array) || !isScalar(array)) fail("NOT_INTEGER_SCALAR", label);
}
inline void requireText(const PlainArray& array) {
  if (!isText(array)) fail("INPUT_MISMATCH", "string of characters");
}
inline double requireDouble(const PlainArray& array, const char* label) {
  if (array.classID != vrDOUBLE_CLASS || !isScalar(array)) fail("NOT_NUMERIC_SCALAR", label);
  return firstNumber(array);
}
inline double requireNumber(const PlainArray& array, const char* label) {
  if (!isNumeric(array) || !isScalar(array)) fail("NOT_NUMERIC_SCALAR", label);
  return firstNumber(array);
}

// Two inputs: a signal id. Three: a run and an index.
inline int32 signalOfFormA(Call& call) {
  StoreModel& store = call.store();
  if (call.count() == 2) return call.intAt(1);
  if (call.count() == 3) return store.byRunIndex(call.intAt(1), call.intAt(2)).id;
  fail("INVALID_SIGNATURE");
}

// Three inputs: a signal id and the value. Four: run, index, value, of which the index is tested
// first and read from its storage. `test` is applied to the value.
template <class Test>
int32 signalOfFormB(Call& call, Test&& test) {
  StoreModel& store = call.store();
  const int32 first = valueReading(call.inputs[1]);
  if (call.count() == 3) {
    test(call.inputs[2]);
    return first;
  }
  if (call.count() != 4) fail("INVALID_SIGNATURE");
  requireIntegerScalar(call.inputs[2], "Index");
  test(call.inputs[3]);
  return store.byRunIndex(first, storageReading(call.inputs[2])).id;
}

// The same with the value tested first, and the index read by its value.
template <class Test>
int32 signalOfFormC(Call& call, Test&& test, const char* indexLabel = "Index") {
  StoreModel& store = call.store();
  if (call.count() == 3) {
    test(call.inputs[2]);
    return call.intAt(1);
  }
  if (call.count() != 4) fail("INVALID_SIGNATURE");
  test(call.inputs[3]);
  requireIntegerScalar(call.inputs[2], indexLabel);
  return store.byRunIndex(call.intAt(1), valueReading(call.inputs[2])).id;
}

// ---- Keywords ----

// ASCII letters alone.
std::string upper(std::string word);

// ---- Structures ----

Tolerance readTolerance(const PlainArray& array);
PlainArray writeTolerance(const Tolerance& tolerance);
Sync readSync(const PlainArray& array);
PlainArray writeSync(const Sync& sync);
PlainArray exportSignal(Process& process, const Signal& signal);

// ---- Bodies, by folder of behaviour ----

namespace bodies {
// NOLINTBEGIN(readability-identifier-naming): named as host code names the methods
// Weak: a method that the models leave out has no body, and its address is null.
#define REPOSITORY_ROW(place, name, ...) [[gnu::weak]] void name(Call&);
#define MAP_ROW(...)
#include "tests/support/method_rows.def"
// NOLINTEND(readability-identifier-naming)
}  // namespace bodies

}  // namespace kvr::models
