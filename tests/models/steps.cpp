#include "tests/models/steps.h"

#include "tests/models/random_arrays.h"

namespace kvr::models {
namespace {

// How the inputs after the handle are made, a letter each, in one of the forms:
//   S R I N   signal id, run id, index, instance where a number is declared
//   s r i     the same in an array of an integer class
//   x d v c   a number, a double, a truth value, a part of a colour
//   t k m     free text, keywords of the two methods of synchronisation
//   C O G     column, order, name of a group
//   o b M l   data source, block, model, label
//   T Y W A   structures of settings, values of a signal, anything
//   z y q e u what add takes as time dimension, port index, integer list, identifier, parent
struct Row {
  const char* method;
  Theme theme;
  int weight;
  std::vector<const char*> forms;
};

// clang-format off
const std::vector<Row> kRows = {
    {"add", Theme::Signals, 150, {"ARtttWbMlzqyqeAuo"}},
    {"remove", Theme::Signals, 30, {"S", "S", "RI"}},
    {"getSignal", Theme::Signals, 20, {"s", "o", "ri"}},
    {"getSignalByRunIndex", Theme::Signals, 10, {"II"}},
    {"getID", Theme::Signals, 10, {"RI"}},
    {"isValidSignalID", Theme::Signals, 6, {"RS"}},
    {"getSignalCount", Theme::Signals, 10, {"", "r", "x"}},
    {"getRootDataSource", Theme::Signals, 5, {"S", "RI"}},
    {"getInstanceID", Theme::Signals, 5, {"S", "RI"}},
    {"getChildrenAndParent", Theme::Signals, 12, {"s", "x", "ri"}},
    {"setParent", Theme::Signals, 3, {"SS"}},
    {"setVisibility", Theme::Signals, 8, {"sv", "riv"}},
    {"getVisibility", Theme::Signals, 4, {"S", "RI"}},
    {"setLineColor", Theme::Signals, 6, {"Sccc"}},
    {"setLineStyle", Theme::Signals, 4, {"St"}},
    {"setMetaData", Theme::Signals, 6, {"sA", "riA"}},
    {"createEmptyRun", Theme::Runs, 40, {"tN"}},
    {"removeRun", Theme::Runs, 14, {"R"}},
    {"removeEmptyRun", Theme::Runs, 8, {"R"}},
    {"deleteInstanceID", Theme::Runs, 2, {"N"}},
    {"copyRun", Theme::Runs, 6, {"RN"}},
    {"getRunID", Theme::Runs, 6, {"i"}},
    {"getRunName", Theme::Runs, 4, {"R"}},
    {"setRunName", Theme::Runs, 4, {"Rt"}},
    {"getRunCount", Theme::Runs, 3, {""}},
    {"getNextRunID", Theme::Runs, 4, {""}},
    {"getAllRunIDs", Theme::Runs, 4, {"N"}},
    {"isValidRunID", Theme::Runs, 4, {"R"}},
    {"getVersion", Theme::Runs, 3, {"R"}},
    {"getDateCreated", Theme::Runs, 3, {"R"}},
    {"setDateCreated", Theme::Runs, 5, {"Rx"}},
    {"updateDateCreated", Theme::Runs, 3, {"R"}},
    {"setAbsoluteTolerance", Theme::Settings, 4, {"sd", "rid"}},
    {"setRelativeTolerance", Theme::Settings, 4, {"sd", "rid"}},
    {"setTimeStart", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setTimeEnd", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setTimeStep", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setInitAbsTolVal", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setAbsStep", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setInitRelTolVal", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setRelStep", Theme::Settings, 3, {"Sx", "Rix"}},
    {"setFcnCallTol", Theme::Settings, 3, {"St", "Rit"}},
    {"setTolerance", Theme::Settings, 6, {"sT", "riT"}},
    {"getTolerance", Theme::Settings, 8, {"S", "RI"}},
    {"resetTolerance", Theme::Settings, 5, {"S", "RI"}},
    {"isToleranceInherited", Theme::Settings, 4, {"S", "RI"}},
    {"setAbsoluteToleranceByRun", Theme::Settings, 3, {"Rx"}},
    {"setRelativeToleranceByRun", Theme::Settings, 3, {"Rx"}},
    {"setTimeStartByRun", Theme::Settings, 2, {"Rx"}},
    {"setTimeEndByRun", Theme::Settings, 2, {"Rx"}},
    {"setTimeStepByRun", Theme::Settings, 2, {"Rx"}},
    {"setInitAbsTolValByRun", Theme::Settings, 2, {"Rx"}},
    {"setAbsStepByRun", Theme::Settings, 2, {"Rx"}},
    {"setInitRelTolValByRun", Theme::Settings, 2, {"Rx"}},
    {"setRelStepByRun", Theme::Settings, 2, {"Rx"}},
    {"setFcnCallTolByRun", Theme::Settings, 3, {"Rt"}},
    {"setToleranceByRun", Theme::Settings, 5, {"RT"}},
    {"getToleranceByRun", Theme::Settings, 5, {"R"}},
    {"setSyncMethod", Theme::Settings, 4, {"Sk", "Rik"}},
    {"setInterpMethod", Theme::Settings, 4, {"Sm", "Rim"}},
    {"setCustomSyncMethod", Theme::Settings, 4, {"St", "Rit"}},
    {"setUniformTimeInterval", Theme::Settings, 4, {"Sx", "Rix"}},
    {"setSyncOptions", Theme::Settings, 6, {"SY", "RiY"}},
    {"getSyncOptions", Theme::Settings, 8, {"S", "RI"}},
    {"resetSyncOptions", Theme::Settings, 5, {"S", "RI"}},
    {"isSyncOptionsInherited", Theme::Settings, 4, {"S", "RI"}},
    {"setSyncMethodByRun", Theme::Settings, 3, {"Rk"}},
    {"setInterpMethodByRun", Theme::Settings, 3, {"Rm"}},
    {"setCustomSyncMethodByRun", Theme::Settings, 3, {"Rt"}},
    {"setUniformTimeIntervalByRun", Theme::Settings, 3, {"Rx"}},
    {"setSyncOptionsByRun", Theme::Settings, 5, {"RY"}},
    {"getSyncOptionsByRun", Theme::Settings, 5, {"R"}},
    {"getGroupCount", Theme::Columns, 8, {"C"}},
    {"getIDCount", Theme::Columns, 10, {"GC"}},
    {"getIDFromGroup", Theme::Columns, 10, {"IGC"}},
    {"getGroup", Theme::Columns, 12, {"ICO"}},
    {"getSignalSource", Theme::Columns, 8, {"I"}},
    {"clean", Theme::Cleaning, 1, {""}},
    {"writeToFile", Theme::File, 12, {""}},
    {"stopWritingToFile", Theme::File, 6, {""}},
};
// clang-format on

// A row's weight under a theme: its own rows come more often. The two of the file come in no other.
int weightOf(const Row& row, Theme theme) {
  if (row.theme == Theme::File) return theme == Theme::File ? row.weight : 0;
  if (row.theme == Theme::Cleaning && theme == Theme::Cleaning) return 20;
  if (row.theme == Theme::Cleaning && theme == Theme::File) return 4;
  return row.theme == theme ? 4 * row.weight : row.weight;
}

const Row& choose(Random& random, Theme theme) {
  int total = 0;
  for (const Row& row : kRows) total += weightOf(row, theme);
  int rest = random.below(total);
  for (const Row& row : kRows) {
    rest -= weightOf(row, theme);
    if (rest < 0) return row;
  }
  return kRows.back();
}

const std::vector<std::string> kTexts = {"", "a", "b", "text", "\xc3\xa9t\xc3\xa9", "run 1"};
const std::vector<std::string> kNames = {"", "alpha", "beta", "Gamma", "alphabet", "\xc3\xa9", "9"};
const std::vector<std::string> kColumns = {"GBLOCKPATH", "gdatasource", "GSignalName", "GMODEL",
                                           "GRUNNAME",   "GDATASOURCE", "GMODEL ",     "group"};
const std::vector<std::string> kOrders = {"ASC", "DESC", "asc", "Desc", "", "up"};
const std::vector<std::string> kSyncMethods = {"union", "INTERSECTION", "Uniform", "linear", ""};
const std::vector<std::string> kInterpMethods = {"zoh", "LINEAR", "Linear", "union", "zo"};

// Makes the inputs of one call on a store.
class InputMaker {
 public:
  InputMaker(Random& random, const StoreModel* store, int objects)
      : random_(random), store_(store), objects_(objects) {}

  PlainArray make(char letter) {
    switch (letter) {
      case 'S':
        return whole(random_, signal());
      case 's':
        return integer(random_, signal());
      case 'R':
        return whole(random_, run());
      case 'r':
        return integer(random_, run());
      case 'I':
        return whole(random_, index());
      case 'i':
        return integer(random_, index());
      case 'N':
        return whole(random_, random_.below(4) - 1);
      case 'x':
        return number(random_.percent(60) ? vrDOUBLE_CLASS : vrSINGLE_CLASS + random_.below(9),
                      anyDouble(random_));
      case 'd':
        return number(anyDouble(random_));
      case 'v':
        return truth(random_.percent(50));
      case 'c':
        return number(random_.percent(85) ? random_.below(5) / 4.0 : anyDouble(random_));
      case 'T':
        return toleranceStruct(random_);
      case 'Y':
        return syncStruct(random_);
      case 'W':
        return signalValues(random_);
      case 'A':
        return random_.percent(40) ? number(1) : anyArray(random_, objects_);
      default:
        return makeText(letter);
    }
  }

 private:
  PlainArray makeText(char letter) {
    switch (letter) {
      case 't':
        return textInput(random_, random_.oneOf(kTexts));
      case 'k':
        return textInput(random_, random_.oneOf(kSyncMethods));
      case 'm':
        return textInput(random_, random_.oneOf(kInterpMethods));
      case 'C':
        return textInput(random_, random_.oneOf(kColumns));
      case 'O':
        return textInput(random_, random_.oneOf(kOrders));
      case 'G':
      case 'o':
      case 'b':
      case 'M':
      case 'l':
        return textInput(random_, random_.oneOf(kNames));
      default:
        return makeOptional(letter);
    }
  }

  PlainArray makeOptional(char letter) {
    if (random_.percent(40)) return letter == 'e' ? text("") : emptyOf(vrDOUBLE_CLASS);
    if (random_.percent(3)) return anyArray(random_, objects_);
    switch (letter) {
      case 'z':
        return number(random_.percent(50) ? vrDOUBLE_CLASS : vrINT8_CLASS,
                      random_.percent(95) ? random_.below(4) + 0.5 : anyDouble(random_));
      case 'y':
        return integer(random_, random_.below(20) - 1);
      case 'q':
        return list();
      case 'e':
        return textInput(random_, random_.oneOf(kTexts));
      default:
        return random_.percent(70) ? number(0) : number(signal());
    }
  }

  PlainArray list() {
    PlainArray array = integer(random_, random_.below(9));
    const int count = 1 + random_.below(3);
    const std::string element = array.real;
    for (int i = 1; i < count; ++i) array.real += element;
    array.dimensions = {1, static_cast<std::size_t>(count)};
    if (random_.percent(30)) std::swap(array.dimensions[0], array.dimensions[1]);
    return array;
  }

  // Mostly one that is there.
  int32 signal() {
    if (store_ != nullptr && store_->signals.size() > 0 && random_.percent(88))
      return random_.oneOf(store_->signals.pairs()).first;
    return aroundUpTo(store_ == nullptr ? 0 : store_->process.lastSignal);
  }
  int32 run() {
    if (store_ != nullptr && store_->runs.size() > 0 && random_.percent(88))
      return random_.oneOf(store_->runs.pairs()).first;
    return aroundUpTo(store_ == nullptr ? 0 : store_->process.lastRun);
  }
  // A number given out or just beside. Empty runs taken back bring the last one below 0.
  int32 aroundUpTo(int32 last) { return random_.below(std::max(last, 0) + 4) - 1; }
  int32 index() { return random_.percent(75) ? 1 + random_.below(3) : random_.below(12) - 1; }

  Random& random_;
  const StoreModel* store_;
  int objects_;
};

int chooseOutputs(Random& random) {
  if (random.percent(85)) return 1;
  if (random.percent(2)) return -1;
  return random.below(5);
}

Step callOf(ClassKind cls, const char* method, int object) {
  Step step;
  step.cls = cls;
  step.place = placeOf(cls, method);
  step.inputs.push_back(handleOf(object));
  return step;
}

const ObjectModel* modelOf(const World& world, int object) { return world.find(handleOf(object)); }

}  // namespace

Step StepMaker::object(ClassKind cls) {
  Step step;
  step.kind = StepKind::Construct;
  step.cls = cls;
  step.object = ++lastObject_;
  if (cls == ClassKind::Map) {
    const int keyClass = 3 + random_.below(13);
    step.inputs.push_back(random_.percent(90) && keyClass != 5
                              ? number(keyClass, 1)
                              : anyArray(random_, lastObject_ - 1));
    const int valueClass = 3 + random_.below(13);
    step.inputs.push_back(random_.percent(70) && valueClass != 5
                              ? number(valueClass, 1)
                              : anyArray(random_, lastObject_ - 1));
  } else if (random_.percent(3)) {
    step.inputs.push_back(number(1));
  }
  return step;
}

Step StepMaker::end() {
  Step step;
  step.kind = StepKind::End;
  step.object = 1 + random_.below(std::max(lastObject_, 1));
  return step;
}

Step StepMaker::function() {
  static const std::vector<std::string> names = {"version", "now", "timeseries", "tempdir"};
  const Process& process = world_.process;
  Step step;
  step.kind = StepKind::HostFunction;
  step.function = random_.oneOf(names);
  if (process.versionFails) step.function = "version";
  if (process.nowFails) step.function = "now";
  if (process.timeseriesFails) step.function = "timeseries";
  if (process.tempdirFails || process.tempdirEmpty) step.function = "tempdir";
  const bool broken = process.anyFails();
  if (!broken) step.mood = Mood::Fails;
  if (!broken && step.function == "tempdir" && random_.percent(50)) step.mood = Mood::Empty;
  return step;
}

// Mostly the newest that lives; 0 if there is none.
int StepMaker::chooseObject(ClassKind cls) {
  std::vector<int> alive;
  std::vector<int> all;
  for (const ObjectModel& object : world_.objects) {
    if (object.cls != cls) continue;
    all.push_back(object.number);
    if (!object.dead) alive.push_back(object.number);
  }
  if (alive.empty()) return 0;
  if (random_.percent(2)) return random_.oneOf(all);
  return random_.percent(cls == ClassKind::Map ? 40 : 85) ? alive.back() : random_.oneOf(alive);
}

Step StepMaker::repositoryCall() {
  const int object = chooseObject(ClassKind::Repository);
  if (object == 0) return this->object(ClassKind::Repository);
  const StoreModel* store = modelOf(world_, object)->store.get();
  const Row* row = &choose(random_, theme_);
  const bool full = store->signals.size() > 40 || store->runs.size() > 12;
  const bool grows = row->theme == Theme::Signals || row->theme == Theme::Runs;
  if (full && grows && random_.percent(60)) {
    row = &*std::find_if(kRows.begin(), kRows.end(), [](const Row& one) {
      return one.method == std::string_view("removeRun");
    });
  }
  Step step = callOf(ClassKind::Repository, row->method, object);
  if (row->method == std::string_view("getSyncOptions")) step.place += random_.below(2);
  InputMaker inputs(random_, store, lastObject_);
  for (const char* letter = random_.oneOf(row->forms); *letter != '\0'; ++letter)
    step.inputs.push_back(inputs.make(*letter));
  // Mostly a signal leaves the group that it came into.
  if (step.inputs.size() == 18 && random_.percent(60)) step.inputs[17] = step.inputs[5];
  return step;
}

Step StepMaker::mapCall() {
  const int object = chooseObject(ClassKind::Map);
  if (object == 0) return this->object(ClassKind::Map);
  const MapModel& map = *modelOf(world_, object)->map;
  static const std::vector<const char*> methods = {
      "insert",         "insert",          "insert",
      "insert",         "insert",          "getDataByKey",
      "getDataByIndex", "deleteDataByKey", "deleteDataByIndex",
      "getCount",       "isKey",           "getKeyByIndex",
      "getIndexByKey",  "getKeyType",      "getValueType"};
  const bool clear = random_.percent(map.count() > 12 ? 20 : 1);
  Step step = callOf(ClassKind::Map, clear ? "Clear" : random_.oneOf(methods), object);
  const std::string_view types = signatureAt(step.cls, step.place).inputs;
  for (std::size_t i = 1; i < types.size(); ++i) {
    const std::string& type = i == 1 ? map.keyType() : map.valueType();
    if (types[i] == 'i') {
      step.inputs.push_back(whole(random_, random_.below(map.count() + 3) - (random_.percent(5))));
    } else if (random_.percent(8) || type == "any") {
      step.inputs.push_back(anyArray(random_, lastObject_));
    } else if (i == 1 && map.count() > 0 && random_.percent(40)) {
      step.inputs.push_back(map.keyAt(1 + random_.below(map.count())));
    } else if (type == "char") {
      step.inputs.push_back(textInput(random_, random_.oneOf(kNames)));
    } else {
      step.inputs.push_back(number(vrDOUBLE_CLASS + random_.below(10), anyDouble(random_)));
    }
  }
  return step;
}

// Makes another call of it: inputs too many, too few, of another kind.
void StepMaker::spoil(Step& step) {
  const int count = static_cast<int>(step.inputs.size());
  const int choice = random_.below(8);
  if (choice == 0 && count > 0) {
    step.inputs.pop_back();
  } else if (choice == 1) {
    step.inputs.push_back(anyArray(random_, lastObject_));
  } else if (choice == 2 && count > 1) {
    step.inputs.push_back(step.inputs.back());
  } else if (count > 0) {
    const int place = choice == 3 ? 0 : random_.below(count);
    step.inputs[static_cast<std::size_t>(place)] = anyArray(random_, lastObject_);
  }
}

Step StepMaker::next() {
  const bool fragile = theme_ == Theme::File || theme_ == Theme::Runs;
  const bool broken = world_.process.anyFails();
  if (random_.percent(broken ? 20 : 0) || (fragile && random_.below(300) == 0)) return function();
  if (random_.below(400) == 0) return end();
  const bool ofMap = random_.percent(theme_ == Theme::Maps         ? 97
                                     : theme_ == Theme::Everything ? 25
                                                                   : 1);
  const ClassKind cls = ofMap ? ClassKind::Map : ClassKind::Repository;
  if (random_.below(ofMap ? 60 : 150) == 0) return object(cls);
  Step step = ofMap ? mapCall() : repositoryCall();
  if (step.kind != StepKind::Call) return step;
  step.nargout = chooseOutputs(random_);
  if (random_.percent(7)) spoil(step);
  return step;
}

}  // namespace kvr::models
