// Tolerance settings of a signal.
#include "kvrntob/binding/forms.h"
#include "kvrntob/binding/methods.h"
#include "kvrntob/settings/structures.h"

namespace kvr {

namespace {

template <class Reader>
void setNumber(const Call& call, const SettingForm& form, const ToleranceField& field,
               Reader read) {
  SignalRepository& store = call.store();
  const auto set = readSetting(form, store, call, read);
  store.setTolerance(set.signal, field, set.value);
}

}  // namespace

// Some labels name another field than the one that is set, and stay so.

void SignalRepositorySetAbsoluteTolerance::run(const Call& call) {
  setNumber(call, anyIDIndexFirst, toleranceField::absolute, DoubleScalar{"Absolute tolerance"});
}

void SignalRepositorySetRelativeTolerance::run(const Call& call) {
  setNumber(call, anyIDIndexFirst, toleranceField::relative, DoubleScalar{"Absolute tolerance"});
}

void SignalRepositorySetTimeStart::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::timeStart, NumericScalar{"Time Start"});
}

void SignalRepositorySetTimeEnd::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::timeEnd, NumericScalar{"Time End"});
}

void SignalRepositorySetTimeStep::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::timeStep,
            NumericScalar{"Time step", "Time Start"});
}

void SignalRepositorySetInitAbsTolVal::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::initAbsTolVal,
            NumericScalar{"Initial Absolute Tolerance"});
}

void SignalRepositorySetAbsStep::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::absStep, NumericScalar{"Absolute step"});
}

void SignalRepositorySetInitRelTolVal::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::initRelTolVal,
            NumericScalar{"Initial Absolute Tolerance"});
}

void SignalRepositorySetRelStep::run(const Call& call) {
  setNumber(call, typedIDValueFirst, toleranceField::relStep, NumericScalar{"Relative step"});
}

void SignalRepositorySetFcnCallTol::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(typedIDValueFirst, store, call, CharacterArray());
  store.setFcnCallTol(set.signal, set.value);
}

void SignalRepositorySetTolerance::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(integerIDIndexFirst, store, call, StructOrObject());
  store.setTolerance(set.signal, set.value);
}

void SignalRepositoryGetTolerances::run(const Call& call) {
  const SignalRepository& store = call.store();
  putStructure(call.out[0], writeToleranceStruct(store.tolerance(signalOf(store, call))));
}

void SignalRepositoryResetTolerances::run(const Call& call) {
  SignalRepository& store = call.store();
  store.resetTolerance(signalOf(store, call));
}

void SignalRepositoryIsToleranceInherited::run(const Call& call) {
  const SignalRepository& store = call.store();
  putTruth(call.out[0], store.isToleranceInherited(signalOf(store, call)));
}

}  // namespace kvr
