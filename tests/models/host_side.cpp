#include "tests/models/host_side.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <typeinfo>
#include <utility>

#include "embedded_host/messages/host_exception.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/object_record.h"
#include "kvrntob/binding/packages.h"
#include "tests/models/signatures.h"
#include "tests/models/store_model.h"
#include "tests/support/left_behind.h"

namespace kvr::models {
namespace {

using vormel::CallFrame;
using vormel::ClassRecord;
using vormel::HostFunctions;
using vormel::Interpreter;
using vormel::MethodRecord;
using vormel::OwnedArray;

ClassRecord& classOf(ClassKind cls) {
  static ClassRecord* const classes[] = {
      (ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo),
       &Interpreter::instance().findClass("Dravik.kvr.SignalRepository")),
      &Interpreter::instance().findClass("Dravik.kvr.Map")};
  return *classes[static_cast<int>(cls)];
}

// Every method of a class that has a row, by its place.
std::vector<const MethodRecord*> methodsOf(ClassKind cls) {
  const auto& registered = classOf(cls).methods();
  std::vector<const MethodRecord*> methods;
  for (const Signature& row : signaturesOf(cls)) {
    if (methods.size() == registered.size() || registered[methods.size()]->name() != row.name)
      throw std::logic_error(std::string("not registered in its place: ") + row.name);
    methods.push_back(registered[methods.size()].get());
  }
  return methods;
}

std::optional<PlainArray> readCell(CallFrame& frame, std::size_t cell, const Objects& objects) {
  if (!frame.isWritten(cell)) return std::nullopt;
  switch (frame.outputType(cell)->type) {
    case vormel::CellType::Int32Scalar:
      return int32Cell(frame.int32At(cell));
    case vormel::CellType::LogicalScalar:
      return logicalCell(frame.logicalAt(cell));
    default:
      return read(frame.takeArray(cell).get(), objects);
  }
}

OwnedArray ownedText(const std::string& utf8) { return OwnedArray(vrCreateString(utf8.c_str())); }

}  // namespace

HostSide::HostSide() {
  for (const char* name : {"version", "now", "tempdir", "timeseries"})
    setFunction(name, Mood::Fine);
}

HostSide::~HostSide() {
  for (const Held& held : objects_) vormel::endObject(held.object.handle());
  objects_.clear();
  keepStore();
  SignalRepository::drop();
  for (const char* name : {"version", "now", "tempdir", "timeseries"}) {
    if (HostFunctions::instance().isReplaced(name)) HostFunctions::instance().reset(name);
  }
}

const vrArray* HostSide::handle(int object) const {
  for (const Held& held : objects_)
    if (held.number == object) return held.object.handle();
  return nullptr;
}

int HostSide::numberOf(const vrArray* handle) const {
  for (const Held& held : objects_) {
    if (vormel::ObjectRecord::behind(held.object.handle()) == vormel::ObjectRecord::behind(handle))
      return held.number;
  }
  return 0;
}

const MethodRecord& HostSide::method(const Step& step) const {
  static const std::vector<const MethodRecord*> methods[] = {methodsOf(ClassKind::Repository),
                                                             methodsOf(ClassKind::Map)};
  return *methods[static_cast<int>(step.cls)].at(static_cast<std::size_t>(step.place));
}

Outcome HostSide::take(const Step& step) {
  Outcome outcome;
  try {
    switch (step.kind) {
      case StepKind::Call:
      case StepKind::Construct:
        return call(step);
      case StepKind::HostFunction:
        setFunction(step.function, step.mood);
        break;
      case StepKind::End:
        if (const vrArray* array = handle(step.object)) vormel::endObject(array);
    }
  } catch (const vormel::HostException& failure) {
    outcome.failure = Failure{failure.identifier(), failure.word()};
  } catch (const std::exception& failure) {
    outcome.failure = Failure{typeid(failure).name(), failure.what()};
  }
  return outcome;
}

Outcome HostSide::call(const Step& step) {
  static const int clean = placeOf(ClassKind::Repository, "clean");
  static const int insert = placeOf(ClassKind::Map, "insert");
  if (step.cls == ClassKind::Repository && step.place == clean) keepStore();
  // Values of maps may be cleared away, and are then never released; they are counted instead.
  std::optional<test::LeftBehind> mayBeCleared;
  if (step.cls == ClassKind::Map && step.place == insert) mayBeCleared.emplace();
  std::vector<OwnedArray> inputs;
  for (const PlainArray& input : step.inputs) inputs.push_back(build(input, *this));
  CallFrame frame(method(step), inputs.size(), step.nargout);
  for (std::size_t i = 0; i < inputs.size(); ++i) frame.setInput(i, inputs[i].get());
  frame.run();
  Outcome outcome;
  outcome.outputCount = frame.outputCount();
  if (step.kind == StepKind::Construct) {
    objects_.push_back({step.object, step.cls, vormel::Object(frame.takeArray(0))});
    outcome.cells.resize(frame.cellCount());
    outcome.cells[0] = handleOf(step.object);
    return outcome;
  }
  for (std::size_t cell = 0; cell < frame.cellCount(); ++cell)
    outcome.cells.push_back(readCell(frame, cell, *this));
  return outcome;
}

// The store that is about to be dropped: nothing else would free it.
void HostSide::keepStore() {
  SignalRepository* store = SignalRepository::getInstance();
  const bool kept = std::any_of(stores_.begin(), stores_.end(),
                                [&](const auto& one) { return one.get() == store; });
  if (!kept) stores_.emplace_back(store);
}

void HostSide::setFunction(const std::string& name, Mood mood) {
  HostFunctions& functions = HostFunctions::instance();
  if (mood == Mood::Fails) {
    functions.set(name, []() -> OwnedArray {
      throw vormel::HostError(kFunctionFailure, "A function of the test fails.");
    });
  } else if (mood == Mood::Empty) {
    functions.set(name, [] { return ownedText(""); });
  } else if (name == "now") {
    functions.set(name, [this] { return OwnedArray(vrCreateDoubleScalar(++clock_)); });
  } else if (name == "version") {
    functions.set(name, [] { return ownedText(Process().version); });
  } else if (functions.isReplaced(name)) {
    functions.reset(name);
  }
}

PlainArray HostSide::timeseries() const {
  return read(HostFunctions::instance().callBuiltIn("timeseries").get(), *this);
}

int HostSide::probePalette() {
  const auto attributes = [](SignalRepository& store, int32 run) {
    NewSignal probe;
    probe.runID = run;
    const int32 id = store.addSignal(std::move(probe));
    const Data data = store.copyRecordByID(id);
    return std::make_pair(data.getLineColor(), data.getLineDashed());
  };
  SignalRepository& store = *SignalRepository::getInstance();
  const int32 run = store.createEmptyRun("probe", 0);
  const auto first = attributes(store, run);
  const auto second = attributes(store, run);
  keepStore();
  SignalRepository::drop();
  clock_ = 0;
  for (int position = -1; position < 63; ++position) {
    Process process;
    process.palette = position;
    if (process.nextLineAttributes() == first && process.nextLineAttributes() == second)
      return process.palette;
  }
  throw std::runtime_error("Two new signals have the attributes of no place in the palette.");
}

}  // namespace kvr::models
