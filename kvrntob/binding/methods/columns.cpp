// Signals grouped by column.
#include "kvrntob/columns/columns.h"
#include "kvrntob/binding/methods.h"

namespace kvr {

void SignalRepositoryGetGroupCount::run(const Call& call) {
  const SignalRepository& store = call.store();
  putInt32Cell(call.out[0], store.groupCount(parseColumnName(call.in[1].text)));
}

void SignalRepositoryGetSignalIdCountFromColumn::run(const Call& call) {
  const SignalRepository& store = call.store();
  const Column column = parseColumnName(call.in[2].text);
  putInt32Cell(call.out[0], store.groupIDCount(call.in[1].text, column));
}

void SignalRepositoryGetSignalIdFromColumn::run(const Call& call) {
  const SignalRepository& store = call.store();
  const Column column = parseColumnName(call.in[3].text);
  putInt32Cell(call.out[0], store.groupIDAt(call.in[1].int32Value, call.in[2].text, column));
}

// Column before order in the call, but the order is looked at first.
void SignalRepositoryGetGroup::run(const Call& call) {
  SignalRepository& store = call.store();
  const SortOrder order = parseSortOrder(call.in[3].text);
  const Column column = parseColumnName(call.in[2].text);
  putString(call.out[0], store.groupName(call.in[1].int32Value, column, order));
}

}  // namespace kvr
