// Tolerance settings of a run.
#include "kvrntob/binding/arguments.h"
#include "kvrntob/binding/methods.h"
#include "kvrntob/settings/structures.h"

namespace kvr {

namespace {

void setNumber(const Call& call, const ToleranceField& field) {
  SignalRepository& store = call.store();
  store.setToleranceByRun(call.in[1].int32Value, field, call.in[2].doubleValue);
}

}  // namespace

void SignalRepositorySetAbsoluteToleranceByRun::run(const Call& call) {
  setNumber(call, toleranceField::absolute);
}

void SignalRepositorySetRelativeToleranceByRun::run(const Call& call) {
  setNumber(call, toleranceField::relative);
}

void SignalRepositorySetTimeStartByRun::run(const Call& call) {
  setNumber(call, toleranceField::timeStart);
}

void SignalRepositorySetTimeEndByRun::run(const Call& call) {
  setNumber(call, toleranceField::timeEnd);
}

void SignalRepositorySetTimeStepByRun::run(const Call& call) {
  setNumber(call, toleranceField::timeStep);
}

void SignalRepositorySetInitAbsTolValByRun::run(const Call& call) {
  setNumber(call, toleranceField::initAbsTolVal);
}

void SignalRepositorySetAbsStepByRun::run(const Call& call) {
  setNumber(call, toleranceField::absStep);
}

void SignalRepositorySetInitRelTolValByRun::run(const Call& call) {
  setNumber(call, toleranceField::initRelTolVal);
}

void SignalRepositorySetRelStepByRun::run(const Call& call) {
  setNumber(call, toleranceField::relStep);
}

void SignalRepositorySetFcnCallTolByRun::run(const Call& call) {
  requireCharacters(call.in[2].array);  // ahead of the handle
  const std::string text = vrArrayToStdString(call.in[2].array);
  call.store().setFcnCallTolByRun(call.in[1].int32Value, text);
}

void SignalRepositorySetToleranceByRun::run(const Call& call) {
  SignalRepository& store = call.store();
  requireStructOrObject(call.in[2].array);
  store.setToleranceByRun(call.in[1].int32Value, call.in[2].array);
}

void SignalRepositoryGetTolerancesByRun::run(const Call& call) {
  const SignalRepository& store = call.store();
  putStructure(call.out[0], writeToleranceStruct(store.toleranceByRun(call.in[1].int32Value)));
}

}  // namespace kvr
