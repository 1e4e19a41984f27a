// Synchronisation options of signals and runs, and how signals are shown.
#include "tests/models/forms.h"

namespace kvr::models {
namespace {

int32 parseSyncMethod(const std::string& word) {
  const std::string name = upper(word);
  if (name == "UNION") return 0;
  if (name == "INTERSECTION") return 1;
  if (name == "UNIFORM") return 2;
  fail("INVALID_SYNC");
}

int32 parseInterpMethod(const std::string& word) {
  const std::string name = upper(word);
  if (name == "ZOH") return 0;
  if (name == "LINEAR") return 1;
  fail("INVALID_INTERP");
}

}  // namespace

Sync readSync(const PlainArray& array) {
  const bool structOrObject = array.classID == vrSTRUCT_CLASS || array.classID == vrOBJECT_CLASS;
  if (!structOrObject || isEmpty(array)) fail("INPUT_MISMATCH", "struct");
  if (array.fields.size() != 5) fail("NUMBER_OF_FIELDS", "5");
  const PlainArray* method = fieldOf(array, "SyncMethod");
  const PlainArray* interp = fieldOf(array, "InterpMethod");
  const PlainArray* interval = fieldOf(array, "UniformTimeInterval");
  const PlainArray* custom = fieldOf(array, "customSyncMethod");
  const PlainArray* type = fieldOf(array, "syncType");
  for (const PlainArray* field : {method, interp, interval, custom, type})
    if (field == nullptr) fail("MISSING_FIELD");
  if (!isText(*method) || !isText(*interp) || !isText(*custom) ||
      interval->classID != vrDOUBLE_CLASS || !isNumeric(*type))
    fail("MISSING_FIELD");
  Sync sync;
  sync.type = valueReading(*type);
  if (sync.type != 0 && sync.type != 1) fail("SYNC_TYPE");
  sync.method = parseSyncMethod(textOf(*method));
  sync.interp = parseInterpMethod(textOf(*interp));
  sync.interval = firstNumber(*interval);
  sync.custom = textOf(*custom);
  return sync;
}

PlainArray writeSync(const Sync& sync) {
  static const char* const methods[] = {"union", "intersection", "uniform"};
  static const char* const interps[] = {"zoh", "linear"};
  return structure(
      {"SyncMethod", "InterpMethod", "UniformTimeInterval", "customSyncMethod", "syncType"},
      {text(methods[sync.method]), text(interps[sync.interp]), number(sync.interval),
       text(sync.custom), int32Scalar(sync.type)});
}

namespace {

// The signal that a text is set on; `parse` sees the text before the index is looked at.
template <class Parse>
Signal& signalForText(Call& call, Parse&& parse) {
  const int32 id = signalOfFormC(call, [&](const PlainArray& array) {
    requireText(array);
    parse(textOf(array));
  });
  return call.store().byID(id);
}

}  // namespace

namespace bodies {

void setSyncMethod(Call& call) {
  int32 method = 0;
  Signal& signal =
      signalForText(call, [&](const std::string& word) { method = parseSyncMethod(word); });
  signal.sync.method = method;
  signal.sync.type = 0;
  signal.syncInherited = false;
}

void setInterpMethod(Call& call) {
  int32 interp = 0;
  Signal& signal =
      signalForText(call, [&](const std::string& word) { interp = parseInterpMethod(word); });
  signal.sync.interp = interp;
  signal.syncInherited = false;
}

void setCustomSyncMethod(Call& call) {
  std::string custom;
  Signal& signal = signalForText(call, [&](const std::string& word) { custom = word; });
  signal.sync.custom = custom;
  signal.sync.type = 1;
  signal.syncInherited = false;
}

void setUniformTimeInterval(Call& call) {
  double value = 0;
  const int32 id = signalOfFormC(call, [&](const PlainArray& array) {
    value = requireNumber(array, "Uniform Time Interval");
  });
  Signal& signal = call.store().byID(id);
  if (call.count() == 3) {
    signal.sync.interval = value;
    signal.syncInherited = false;
  } else {  // with a run and an index another setting is written
    signal.tolerance.numbers[InitAbs] = value;
    signal.tolerance.type = 1;
    signal.toleranceInherited = false;
  }
}

void setSyncOptions(Call& call) {
  const int32 id = signalOfFormC(
      call,
      [](const PlainArray& array) {
        if (array.classID != vrSTRUCT_CLASS) fail("INPUT_MISMATCH", "struct");
      },
      "Index or Data Run ID");
  Signal& signal = call.store().byID(id);
  signal.sync = readSync(call.inputs.back());
  signal.syncInherited = false;
}

void getSyncOptions(Call& call) {
  const int32 id = signalOfFormA(call);
  StoreModel& store = call.store();
  call.give(writeSync(store.effectiveSync(store.byID(id))));
}

void resetSyncOptions(Call& call) {
  const int32 id = signalOfFormA(call);
  call.store().byID(id).syncInherited = true;
}

void isSyncOptionsInherited(Call& call) {
  const int32 id = signalOfFormA(call);
  call.give(truth(call.store().byID(id).syncInherited));
}

void setSyncMethodByRun(Call& call) {
  const int32 method = parseSyncMethod(call.textAt(2));
  Sync& sync = call.store().syncOfRun(call.intAt(1));
  sync.method = method;
  sync.type = 0;
}

void setInterpMethodByRun(Call& call) {
  const int32 interp = parseInterpMethod(call.textAt(2));
  call.store().syncOfRun(call.intAt(1)).interp = interp;
}

void setCustomSyncMethodByRun(Call& call) {
  Sync& sync = call.store().syncOfRun(call.intAt(1));
  sync.custom = call.textAt(2);
  sync.type = 1;
}

void setUniformTimeIntervalByRun(Call& call) {
  call.store().syncOfRun(call.intAt(1)).interval = call.doubleAt(2);
}

void setSyncOptionsByRun(Call& call) {
  StoreModel& store = call.store();
  const Sync sync = readSync(call.inputs[2]);
  store.syncOfRun(call.intAt(1)) = sync;
}

void getSyncOptionsByRun(Call& call) {
  call.give(writeSync(call.store().syncOfRun(call.intAt(1))));
}

// ---- How signals are shown ----

void setVisibility(Call& call) {
  const int32 id = signalOfFormB(call, [](const PlainArray& array) {
    if (array.classID != vrLOGICAL_CLASS || !isScalar(array))
      fail("NOT_LOGICAL_SCALAR", "Visibility");
  });
  // With a run and an index it is the index that decides.
  call.store().byID(id).visible = firstNumber(call.inputs[2]) != 0;
}

void getVisibility(Call& call) {
  const int32 id = signalOfFormA(call);
  call.give(truth(call.store().byID(id).visible));
}

void setLineColor(Call& call) {
  Signal& signal = call.store().byID(call.intAt(1));
  const std::vector<double> color{call.doubleAt(2), call.doubleAt(3), call.doubleAt(4)};
  for (const double component : color)
    if (component < 0 || component > 1) fail("INVALID_COLOR");
  signal.color = color;
}

void setLineStyle(Call& call) { call.store().byID(call.intAt(1)).style = call.textAt(2); }

void setMetaData(Call& call) {
  const int32 id = signalOfFormB(call, [](const PlainArray&) {});
  call.store().byID(id).metaData = call.inputs.back();
}

}  // namespace bodies
}  // namespace kvr::models
