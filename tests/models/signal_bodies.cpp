// Adding, finding, reading and removing signals; the life of a store.
#include "tests/models/forms.h"

namespace kvr::models {
namespace {

// An optional list of integers of any integer class, read word by word.
std::vector<int32> readList(const PlainArray& array, const char* label, const char* shapeFailure) {
  if (isEmpty(array)) return {};
  if (!isInteger(array)) fail("NOT_INTEGER", label);
  const Dimensions& dimensions = array.dimensions;
  if (dimensions.size() > 2 || std::min(dimensions[0], dimensions[1]) > 1)
    fail(shapeFailure, label);
  std::vector<int32> list;
  for (std::size_t i = 0; i < std::max(dimensions[0], dimensions[1]); ++i)
    list.push_back(storageReading(array, i));
  return list;
}

int32 requireNotNegative(const PlainArray& array, const char* label) {
  const int32 value = valueReading(array);
  if (value < 0) fail("NOT_POSITIVE", label);
  return value;
}

int32 readTimeDim(const PlainArray& array) {
  if (isEmpty(array)) return 0;
  if (!isNumeric(array) || !isScalar(array)) fail("NOT_INTEGER_SCALAR", "Time Dimension");
  return requireNotNegative(array, "Time Dimension");
}

int32 readPortIndex(const PlainArray& array) {
  if (isEmpty(array)) return 0;
  requireIntegerScalar(array, "Port Index");
  return requireNotNegative(array, "Port Index");
}

int32 readParent(const PlainArray& array) {
  if (isEmpty(array)) return 0;
  if (!isNumeric(array) || !isScalar(array)) fail("NOT_INTEGER_SCALAR", "Parent data id");
  return requireNotNegative(array, "Parent id");
}

std::string readSID(const PlainArray& array) {
  if (isEmpty(array)) return "";
  if (!isText(array)) failInHost("NotCharacters");
  return textOf(array);
}

PlainArray doubleRow(const std::vector<double>& values) {
  return numbers(vrDOUBLE_CLASS, {1, values.size()}, values);
}

}  // namespace

PlainArray exportSignal(Process& process, const Signal& s) {
  PlainArray values = s.storedInFile ? process.readVariable(s.id) : s.values;
  return structure(
      {"DataID", "RunID", "RootSource", "TimeSource", "DataSource", "DataValues", "BlockSource",
       "ModelSource", "SignalLabel", "TimeDim", "SampleDims", "PortIndex", "Channel", "SID",
       "LineColor", "LineDashed", "MetaData", "ParentID", "rootDataSrc"},
      {int32Scalar(s.id), int32Scalar(s.run), text(s.rootSource), text(s.timeSource),
       text(s.dataSource), std::move(values), text(s.block), text(s.model), text(s.label),
       int32Scalar(s.timeDim), int32Row(s.sampleDims), int32Scalar(s.portIndex),
       int32Row(s.channel), text(s.sid), doubleRow(s.color), text(s.style), s.metaData,
       int32Scalar(s.parent), text(s.rootDataSource)});
}

namespace bodies {

void SignalRepository(Call&) {}

void add(Call& call) {
  const auto& in = call.inputs;
  Signal signal;
  signal.rootSource = call.textAt(3);
  signal.timeSource = call.textAt(4);
  signal.dataSource = call.textAt(5);
  signal.values = in[6];
  signal.block = call.textAt(7);
  signal.model = call.textAt(8);
  signal.label = call.textAt(9);
  signal.timeDim = readTimeDim(in[10]);
  signal.sampleDims = readList(in[11], "sample dimensions", "NOT_VECTOR");
  signal.portIndex = readPortIndex(in[12]);
  signal.channel = readList(in[13], "channel", "NOT_1BY2VECTOR");
  signal.sid = readSID(in[14]);
  signal.run = call.intAt(2);
  signal.metaData = in[15];
  const int32 parent = readParent(in[16]);
  signal.rootDataSource = call.textAt(17);
  call.give(int32Cell(call.store().addSignal(std::move(signal), parent)));
}

void remove(Call& call) { call.store().removeSignal(signalOfFormA(call)); }

void getSignal(Call& call) {
  StoreModel& store = call.store();
  if (call.outcome.outputCount == 0) call.outcome.outputCount = 1;
  const auto& in = call.inputs;
  if (call.count() == 2 && isInteger(in[1]) && isScalar(in[1])) {
    return call.give(exportSignal(store.process, store.byID(storageReading(in[1]))));
  }
  if (call.count() == 2 && isText(in[1]) && !isEmpty(in[1])) {
    return call.give(exportSignal(store.process, store.bySource(textOf(in[1]))));
  }
  if (call.count() != 3) fail("INVALID_SIGNATURE");
  if (!isInteger(in[1]) || !isInteger(in[2]) || !isScalar(in[1]))
    fail("NOT_INTEGER_SCALAR", "Index or Data Run ID");
  call.give(
      exportSignal(store.process, store.byRunIndex(valueReading(in[1]), valueReading(in[2]))));
}

void getSignalByRunIndex(Call& call) {
  StoreModel& store = call.store();
  const int32 run = store.runAt(call.intAt(1));
  call.give(exportSignal(store.process, store.byRunIndex(run, call.intAt(2))));
}

void getID(Call& call) {
  call.give(int32Scalar(call.store().byRunIndex(call.intAt(1), call.intAt(2)).id));
}

void isValidSignalID(Call& call) {
  StoreModel& store = call.store();
  call.outcome.outputCount = 1;
  call.give(truth(store.byID(call.intAt(2)).run == call.intAt(1)));
}

void getSignalCount(Call& call) {
  StoreModel& store = call.store();
  if (call.outcome.outputCount == 0) call.outcome.outputCount = 1;
  if (call.count() == 1) return call.give(int32Scalar(static_cast<int32>(store.signals.size())));
  if (call.count() != 2) fail("INVALID_SIGNATURE");
  if (!isInteger(call.inputs[1]) && !isScalar(call.inputs[1])) fail("NOT_INTEGER", "Run ID");
  call.give(int32Scalar(store.signalCount(valueReading(call.inputs[1]))));
}

void getSignalSource(Call& call) {
  StoreModel& store = call.store();
  call.outcome.outputCount = 1;
  call.give(text(store.blockAt(call.intAt(1))));
}

void getRootDataSource(Call& call) {
  const int32 id = signalOfFormA(call);
  call.give(text(call.store().byID(id).rootDataSource));
}

void getInstanceID(Call& call) {
  const int32 id = signalOfFormA(call);
  const SignalPtr* signal = call.store().signals.find(id);
  call.give(int32Cell(signal == nullptr ? -1 : (*signal)->instance));
}

void getChildrenAndParent(Call& call) {
  StoreModel& store = call.store();
  const auto& in = call.inputs;
  int32 id = valueReading(in[1]);
  if (call.count() == 3) {
    requireIntegerScalar(in[2], "Index");
    id = store.byRunIndex(id, storageReading(in[2])).id;
  } else if (call.count() != 2) {
    fail("INVALID_SIGNATURE");
  }
  const Signal& signal = store.byID(id);
  call.give(truth(!signal.hasParent), 0);
  call.give(signal.children.empty() ? emptyOf(in[1].classID) : int32Row(signal.children), 1);
  call.give(int32Cell(signal.parent), 2);
}

void setParent(Call& call) { call.store().setParent(call.intAt(1), call.intAt(2)); }

void clean(Call& call) {
  call.self.dead = true;
  call.world.process.clean();
}

void writeToFile(Call& call) {
  call.store().writeFlag = true;
  call.world.process.createFile();
}

void stopWritingToFile(Call& call) { call.store().writeFlag = false; }

}  // namespace bodies
}  // namespace kvr::models
