// What the model does at each method of Dravik.kvr.Map.
#include "tests/models/world.h"

namespace kvr::models {
namespace {

// The map of the handle. A dead one is refused by the host.
MapModel& mapOf(Call& call) {
  if (call.self.dead) failInHost("DeadObject");
  return *call.self.map;
}

// For the methods that raise an output count of 0.
MapModel& mapAskedFor(Call& call) {
  MapModel& map = mapOf(call);
  if (call.outcome.outputCount == 0) call.outcome.outputCount = 1;
  return map;
}

// NOLINTBEGIN(readability-identifier-naming): named as host code names the methods
void Map(Call&) {}

void insert(Call& call) { mapOf(call).put(call.inputs[1], call.inputs[2]); }

// These two do nothing if more than one output is asked for.
void getDataByKey(Call& call) {
  const MapModel& map = mapAskedFor(call);
  if (call.outcome.outputCount > 1) return;
  call.give(map.valueAt(map.indexOf(call.inputs[1])));
}
void getDataByIndex(Call& call) {
  const MapModel& map = mapAskedFor(call);
  if (call.outcome.outputCount > 1) return;
  call.give(map.valueAt(call.intAt(1)));
}

void deleteDataByKey(Call& call) {
  MapModel& map = mapOf(call);
  map.remove(map.indexOf(call.inputs[1]));
}
void deleteDataByIndex(Call& call) { mapOf(call).remove(call.intAt(1)); }

void getCount(Call& call) { call.give(int32Cell(mapAskedFor(call).count())); }
void isKey(Call& call) { call.give(logicalCell(mapAskedFor(call).isKey(call.inputs[1]))); }
void getKeyByIndex(Call& call) { call.give(mapAskedFor(call).keyAt(call.intAt(1))); }
void getIndexByKey(Call& call) { call.give(int32Cell(mapAskedFor(call).indexOf(call.inputs[1]))); }
void getKeyType(Call& call) { call.give(text(mapAskedFor(call).keyType())); }
void getValueType(Call& call) { call.give(text(mapAskedFor(call).valueType())); }
void Clear(Call& call) { call.world.leftovers += mapOf(call).clear(); }

// NOLINTEND(readability-identifier-naming)
}  // namespace

const std::vector<Signature>& mapMethods() {
  static const std::vector<Signature> rows = {
#define REPOSITORY_ROW(...)
#define MAP_ROW(place, name, Class, inputs, outputs, ...) {#name, inputs, outputs, name},
#include "tests/support/method_rows.def"
  };
  return rows;
}

}  // namespace kvr::models
