// Runs, and the columns that signals are grouped by.
#include "tests/models/forms.h"

namespace kvr::models {

std::string upper(std::string word) {
  for (char& c : word)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return word;
}

namespace {

int parseColumn(const std::string& word) {
  const std::string name = upper(word);
  if (name == "GBLOCKPATH") return BlockColumn;
  if (name == "GDATASOURCE") return SourceColumn;
  if (name == "GSIGNALNAME") return LabelColumn;
  if (name == "GMODEL") return ModelColumn;
  if (name == "GRUNNAME") return RunColumn;
  fail("NON_EXISTENT", "Column name");
}

bool parseDescending(const std::string& word) {
  const std::string name = upper(word);
  if (name != "ASC" && name != "DESC") fail("INVALID_ORDER");
  return name == "DESC";
}

}  // namespace

namespace bodies {

void createEmptyRun(Call& call) {
  call.give(int32Cell(call.store().createRun(call.textAt(1), call.intAt(2))));
}

void removeRun(Call& call) { call.store().removeRun(call.intAt(1)); }
void removeEmptyRun(Call& call) { call.store().removeEmptyRun(call.intAt(1)); }
void deleteInstanceID(Call& call) { call.store().deleteInstance(call.intAt(1)); }

void copyRun(Call& call) {
  call.give(int32Cell(call.store().copyRun(call.intAt(1), call.intAt(2))));
}

void getRunID(Call& call) {
  StoreModel& store = call.store();
  const PlainArray& index = call.inputs[1];
  if (!isInteger(index) || !isScalar(index) || index.complex) fail("INPUT_MISMATCH", "integer");
  call.give(int32Scalar(store.runAt(valueReading(index))));
}

void getRunName(Call& call) { call.give(text(call.store().run(call.intAt(1)).name)); }
void setRunName(Call& call) { call.store().run(call.intAt(1)).name = call.textAt(2); }

void getRunCount(Call& call) {
  StoreModel& store = call.store();
  call.outcome.outputCount = 1;
  call.give(int32Scalar(static_cast<int32>(store.runs.size())));
}

void getNextRunID(Call& call) { call.give(int32Cell(call.store().process.lastRun + 1)); }

void getAllRunIDs(Call& call) {
  const std::vector<int32>* list = call.store().runsByInstance.find(call.intAt(1));
  call.give(int32Row(list == nullptr ? std::vector<int32>() : *list));
}

void isValidRunID(Call& call) {
  StoreModel& store = call.store();
  call.outcome.outputCount = 1;
  call.give(truth(store.runs.has(call.intAt(1))));
}

void getVersion(Call& call) { call.give(text(call.store().run(call.intAt(1)).version)); }
void getDateCreated(Call& call) { call.give(number(call.store().run(call.intAt(1)).date)); }
void setDateCreated(Call& call) { call.store().runs.at(call.intAt(1)).date = call.doubleAt(2); }

void updateDateCreated(Call& call) {
  StoreModel& store = call.store();
  const std::string name = store.run(call.intAt(1)).name;
  store.run(call.intAt(1)) = store.process.makeRun(name);
}

void getGroupCount(Call& call) {
  StoreModel& store = call.store();
  call.give(int32Cell(store.groupCount(parseColumn(call.textAt(1)))));
}

void getIDCount(Call& call) {
  StoreModel& store = call.store();
  const int code = parseColumn(call.textAt(2));
  call.give(int32Cell(static_cast<int32>(store.group(call.textAt(1), code, "group name").size())));
}

void getIDFromGroup(Call& call) {
  StoreModel& store = call.store();
  const int code = parseColumn(call.textAt(3));
  const std::vector<int32>& ids = store.group(call.textAt(2), code, "Group name");
  const int32 index = call.intAt(1);
  if (index < 1 || index > static_cast<int32>(ids.size())) fail("INDEX_OUT_OF_BOUNDS");
  call.give(int32Cell(ids[static_cast<std::size_t>(index) - 1]));
}

void getGroup(Call& call) {
  StoreModel& store = call.store();
  const bool descending = parseDescending(call.textAt(3));
  const int code = parseColumn(call.textAt(2));
  call.give(text(store.groupName(call.intAt(1), code, descending)));
}

}  // namespace bodies
}  // namespace kvr::models
