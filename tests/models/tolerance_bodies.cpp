// Tolerances of signals and runs.
#include "tests/models/forms.h"

namespace kvr::models {
namespace {

const char* const kNumbers[] = {"absolute",      "relative", "timeStart",     "timeEnd", "timeStep",
                                "initAbsTolVal", "absStep",  "initRelTolVal", "relStep"};
const char* const kLabels[] = {"Absolute tolerance", "Relative tolerance",
                               "Start time",         "End time",
                               "Time step",          "Initial absolute tolerance",
                               "Absolute step",      "Initial relative tolerance",
                               "Relative step"};

bool isRealNumber(const PlainArray* array) {
  return array != nullptr && isNumeric(*array) && isScalar(*array) && !array->complex;
}

}  // namespace

Tolerance readTolerance(const PlainArray& array) {
  const bool structOrObject = array.classID == vrSTRUCT_CLASS || array.classID == vrOBJECT_CLASS;
  if (!structOrObject || isEmpty(array)) fail("INPUT_MISMATCH", "struct");
  if (array.fields.size() != 11) fail("NUMBER_OF_FIELDS", "11");
  const PlainArray* type = fieldOf(array, "toleranceType");
  const PlainArray* fcnCall = fieldOf(array, "fcnCall");
  bool missing = type == nullptr || fcnCall == nullptr;
  for (const std::string name : kNumbers)
    missing = missing || (name != "timeStep" && fieldOf(array, name) == nullptr);
  if (missing) fail("MISSING_FIELD");
  Tolerance result;
  if (!isRealNumber(type)) fail("TOL_TYPE");
  result.type = valueReading(*type);
  if (result.type < 0 || result.type > 2) fail("TOL_TYPE");
  for (std::size_t i = 0; i < 9; ++i) {
    const PlainArray* field = fieldOf(array, kNumbers[i]);
    if (!isRealNumber(field)) fail("NOT_NUMERIC", kLabels[i]);
    result.numbers[i] = firstNumber(*field);
  }
  if (!isText(*fcnCall)) fail("INPUT_MISMATCH", "Character of strings");
  result.fcnCall = textOf(*fcnCall);
  return result;
}

PlainArray writeTolerance(const Tolerance& tolerance) {
  std::vector<std::string> fields{"toleranceType"};
  std::vector<PlainArray> parts{int32Scalar(tolerance.type)};
  for (std::size_t i = 0; i < 9; ++i) {
    fields.emplace_back(kNumbers[i]);
    parts.push_back(number(tolerance.numbers[i]));
  }
  fields.emplace_back("fcnCall");
  parts.push_back(text(tolerance.fcnCall));
  return structure(std::move(fields), std::move(parts));
}

namespace {

void setNumber(Signal& signal, ToleranceNumber which, double value) {
  signal.tolerance.numbers[which] = value;
  signal.tolerance.type = which <= Relative ? 0 : 1;
  signal.toleranceInherited = false;
}

// The two setters of group 0.
void setDouble(Call& call, ToleranceNumber which) {
  double value = 0;
  const int32 id = signalOfFormB(
      call, [&](const PlainArray& array) { value = requireDouble(array, "Absolute tolerance"); });
  setNumber(call.store().byID(id), which, value);
}

// The setters of group 1: the label at three inputs, and at four.
void setNumeric(Call& call, ToleranceNumber which, const char* label, const char* labelAtFour) {
  double value = 0;
  const int32 id = signalOfFormC(call, [&](const PlainArray& array) {
    value = requireNumber(array, call.count() == 4 ? labelAtFour : label);
  });
  setNumber(call.store().byID(id), which, value);
}
void setNumeric(Call& call, ToleranceNumber which, const char* label) {
  setNumeric(call, which, label, label);
}

void setNumberByRun(Call& call, ToleranceNumber which) {
  Tolerance& tolerance = call.store().toleranceOfRun(call.intAt(1));
  tolerance.numbers[which] = call.doubleAt(2);
  tolerance.type = which <= Relative ? 0 : 1;
}

void requireStructOrObject(const PlainArray& array) {
  if (array.classID != vrSTRUCT_CLASS && array.classID != vrOBJECT_CLASS)
    fail("INPUT_MISMATCH", "struct");
}

}  // namespace

namespace bodies {

void setAbsoluteTolerance(Call& call) { setDouble(call, Absolute); }
void setRelativeTolerance(Call& call) { setDouble(call, Relative); }
void setTimeStart(Call& call) { setNumeric(call, TimeStart, "Time Start"); }
void setTimeEnd(Call& call) { setNumeric(call, TimeEnd, "Time End"); }
void setTimeStep(Call& call) { setNumeric(call, TimeStep, "Time step", "Time Start"); }
void setInitAbsTolVal(Call& call) { setNumeric(call, InitAbs, "Initial Absolute Tolerance"); }
void setAbsStep(Call& call) { setNumeric(call, AbsStep, "Absolute step"); }
void setInitRelTolVal(Call& call) { setNumeric(call, InitRel, "Initial Absolute Tolerance"); }
void setRelStep(Call& call) { setNumeric(call, RelStep, "Relative step"); }

void setFcnCallTol(Call& call) {
  const int32 id = signalOfFormC(call, requireText);
  Signal& signal = call.store().byID(id);
  signal.tolerance.fcnCall = textOf(call.inputs.size() == 3 ? call.inputs[2] : call.inputs[3]);
  signal.tolerance.type = 2;
  signal.toleranceInherited = false;
}

void setTolerance(Call& call) {
  StoreModel& store = call.store();
  const auto& in = call.inputs;
  requireIntegerScalar(in[1], "Index or Data Run ID");
  int32 id = valueReading(in[1]);
  if (call.count() == 4) {
    requireIntegerScalar(in[2], "Index or Data Run ID");
    requireStructOrObject(in[3]);
    id = store.byRunIndex(id, valueReading(in[2])).id;
  } else if (call.count() == 3) {
    requireStructOrObject(in[2]);
  } else {
    fail("INVALID_SIGNATURE");
  }
  Signal& signal = store.byID(id);
  signal.tolerance = readTolerance(in.back());
  signal.toleranceInherited = false;
}

void getTolerance(Call& call) {
  const int32 id = signalOfFormA(call);
  StoreModel& store = call.store();
  call.give(writeTolerance(store.effectiveTolerance(store.byID(id))));
}

void resetTolerance(Call& call) {
  const int32 id = signalOfFormA(call);
  call.store().byID(id).toleranceInherited = true;
}

void isToleranceInherited(Call& call) {
  const int32 id = signalOfFormA(call);
  call.give(truth(call.store().byID(id).toleranceInherited));
}

void setAbsoluteToleranceByRun(Call& call) { setNumberByRun(call, Absolute); }
void setRelativeToleranceByRun(Call& call) { setNumberByRun(call, Relative); }
void setTimeStartByRun(Call& call) { setNumberByRun(call, TimeStart); }
void setTimeEndByRun(Call& call) { setNumberByRun(call, TimeEnd); }
void setTimeStepByRun(Call& call) { setNumberByRun(call, TimeStep); }
void setInitAbsTolValByRun(Call& call) { setNumberByRun(call, InitAbs); }
void setAbsStepByRun(Call& call) { setNumberByRun(call, AbsStep); }
void setInitRelTolValByRun(Call& call) { setNumberByRun(call, InitRel); }
void setRelStepByRun(Call& call) { setNumberByRun(call, RelStep); }

void setFcnCallTolByRun(Call& call) {
  requireText(call.inputs[2]);
  Tolerance& tolerance = call.store().toleranceOfRun(call.intAt(1));
  tolerance.fcnCall = textOf(call.inputs[2]);
  tolerance.type = 2;
}

void setToleranceByRun(Call& call) {
  StoreModel& store = call.store();
  requireStructOrObject(call.inputs[2]);
  Tolerance& tolerance = store.toleranceOfRun(call.intAt(1));
  tolerance = readTolerance(call.inputs[2]);
}

void getToleranceByRun(Call& call) {
  call.give(writeTolerance(call.store().toleranceOfRun(call.intAt(1))));
}

}  // namespace bodies
}  // namespace kvr::models
