// What a plot needs of a signal, and its metadata.
#include "kvrntob/binding/forms.h"
#include "kvrntob/binding/methods.h"

namespace kvr {

void SignalRepositorySetVisible::run(const Call& call) {
  SignalRepository& store = call.store();
  auto set = readSetting(anyIDIndexFirst, store, call, LogicalScalar());
  // Required: with run and index the logical is tested and not read; the index is read in its
  // place, so that any index but 0 makes the signal visible.
  if (call.inputCount == 4) set.value = readTruth(call.in[2].array);
  store.setVisible(set.signal, set.value);
}

void SignalRepositoryGetVisible::run(const Call& call) {
  const SignalRepository& store = call.store();
  putTruth(call.out[0], store.isVisible(signalOf(store, call)));
}

void SignalRepositorySetLineColor::run(const Call& call) {
  const ArgumentCell* in = call.in;
  call.store().setLineColor(in[1].int32Value, in[2].doubleValue, in[3].doubleValue,
                            in[4].doubleValue);
}

void SignalRepositorySetLineStyle::run(const Call& call) {
  call.store().setLineStyle(call.in[1].int32Value, call.in[2].text);
}

void SignalRepositorySetMetaData::run(const Call& call) {
  SignalRepository& store = call.store();
  const auto set = readSetting(anyIDIndexFirst, store, call, SharedCopy());
  store.setMetaData(set.signal, set.value);
}

}  // namespace kvr
