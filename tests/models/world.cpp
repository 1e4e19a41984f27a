#include "tests/models/world.h"

namespace kvr::models {

const ObjectModel* World::find(const PlainArray& handle) const {
  if (!isHandle(handle)) return nullptr;
  for (const ObjectModel& object : objects)
    if (object.number == handle.object) return &object;
  return nullptr;
}

Outcome World::take(const Step& step) {
  try {
    switch (step.kind) {
      case StepKind::Call:
        return call(step);
      case StepKind::Construct:
        return construct(step);
      case StepKind::HostFunction:
        setFunction(step);
        break;
      case StepKind::End:
        for (ObjectModel& object : objects)
          if (object.number == step.object) object.dead = true;
    }
    return {};
  } catch (const Failure& failure) {
    Outcome outcome;
    outcome.failure = failure;
    return outcome;
  }
}

Outcome World::call(const Step& step) {
  const Signature& signature = signatureAt(step.cls, step.place);
  checkCall(signature, step.inputs, step.nargout, false, [&](const PlainArray& array) {
    const ObjectModel* object = find(array);
    return object != nullptr && object->cls == step.cls;
  });
  Outcome outcome;
  outcome.outputCount = step.nargout;
  outcome.cells.resize(
      std::max({static_cast<std::size_t>(step.nargout), signature.outputs.size(), std::size_t{1}}));
  auto& self = const_cast<ObjectModel&>(*find(step.inputs[0]));
  Call made(*this, self, step, outcome);
  signature.body(made);
  return outcome;
}

Outcome World::construct(const Step& step) {
  const Signature& signature = signatureAt(step.cls, 0);
  checkCall(signature, step.inputs, step.nargout, true, [](const PlainArray&) { return false; });
  ObjectModel object{.number = step.object, .cls = step.cls};
  if (step.cls == ClassKind::Map) {
    object.map = std::make_shared<MapModel>(step.inputs[0], step.inputs[1]);
  } else {
    process.getInstance();
    object.store = process.current;
  }
  objects.push_back(object);
  Outcome outcome;
  outcome.outputCount = step.nargout;
  outcome.cells.resize(std::max(static_cast<std::size_t>(step.nargout), std::size_t{1}));
  outcome.cells[0] = handleOf(step.object);
  return outcome;
}

void World::setFunction(const Step& step) {
  const bool fails = step.mood == Mood::Fails;
  if (step.function == "version") process.versionFails = fails;
  if (step.function == "now") process.nowFails = fails;
  if (step.function == "timeseries") process.timeseriesFails = fails;
  if (step.function == "tempdir") {
    process.tempdirFails = fails;
    process.tempdirEmpty = step.mood == Mood::Empty;
  }
}

}  // namespace kvr::models
