#include "tests/reliability/method_calls.h"

#include <set>
#include <string_view>
#include <utility>

#include "tests/binding/setting_methods.h"
#include "tests/reliability/sample_store.h"
#include "tests/support/method_rows.h"

namespace kvr::test {
namespace {

// Builds the list of a call's inputs: in(1, "text", 0.5, anArray()).
void put(Arrays& arrays, int value) { arrays.push_back(anInt32(value)); }
void put(Arrays& arrays, double value) { arrays.push_back(aNumber(value)); }
void put(Arrays& arrays, const char* text) { arrays.push_back(aText(text)); }
void put(Arrays& arrays, OwnedArray array) { arrays.push_back(std::move(array)); }

template <class... Values>
Arrays in(Values&&... values) {
  Arrays arrays;
  (put(arrays, std::forward<Values>(values)), ...);
  return arrays;
}

constexpr const char* kLong = "a text too long for a short string";

OwnedArray aCellOfRows(std::size_t count) {
  OwnedArray cell = aCell({1, count});
  for (std::size_t i = 0; i < count; ++i)
    vormel::setCellElement(cell.get(), i, aRow({1, 2, 3}).release());
  return cell;
}

Arrays addInputs(int parent) {
  return in(anEmpty(), 1, "root source of a new signal", "time source of a new signal",
            "data source of a new signal", aTimeseries({5, 6, 7}, {0, 1, 2}),
            "block of a new signal", "model of a new signal", "label of a new signal", 1,
            filled<std::int32_t>(aNumeric(vrINT32_CLASS, {1, 3}), {2, 3, 4}), 4,
            filled<std::int32_t>(aNumeric(vrINT32_CLASS, {1, 3}), {7, 8, 9}), "sid of a new signal",
            aText("metadata of a new signal"), parent, "root data source of a new signal");
}

void addCalls(std::vector<MethodCall>& calls) {
  calls.push_back({"add", [] { return addInputs(0); }, Leaves::SignalID, "without parent"});
  calls.push_back({"add", [] { return addInputs(1); }, Leaves::SignalID, "with parent"});
  calls.push_back({"add",
                   [] {
                     Arrays inputs = addInputs(0);
                     vrSetProperty_730(inputs[5].get(), 0, "Data", aCellOfRows(60).get());
                     return inputs;
                   },
                   Leaves::SignalID, "many parts"});
  calls.push_back({"add",
                   [] {
                     Arrays inputs = addInputs(0);
                     inputs[5] = aTimeseries({}, {});
                     for (const int empty : {9, 10, 11, 12, 13, 15}) inputs[empty] = anEmpty();
                     return inputs;
                   },
                   Leaves::SignalID, "empty"});
}

void signalCalls(std::vector<MethodCall>& calls) {
  const std::vector<MethodCall> rows{
      {"remove", [] { return in(4); }, Leaves::Tables, "id"},
      {"remove", [] { return in(1); }, Leaves::Tables, "id with children"},
      {"remove", [] { return in(1, 2); }, Leaves::Tables, "run and index"},
      {"getSignal", [] { return in(1); }, Leaves::Nothing, "id"},
      {"getSignal", [] { return in(SampleStore::source(2).c_str()); }, Leaves::Nothing, "source"},
      {"getSignal", [] { return in(2, 1); }, Leaves::Nothing, "run and index"},
      {"getSignalByRunIndex", [] { return in(2, 1); }},
      {"getID", [] { return in(1, 1); }},
      {"isValidSignalID", [] { return in(1, 1); }},
      {"getSignalCount", [] { return in(); }, Leaves::Nothing, "all"},
      {"getSignalCount", [] { return in(1); }, Leaves::Nothing, "run"},
      {"getSignalCount", [] { return in(3); }, Leaves::SignalList, "run without signals"},
      {"getSignalSource", [] { return in(1); }},
      {"getRootDataSource", [] { return in(2); }, Leaves::Nothing, "id"},
      {"getRootDataSource", [] { return in(1, 2); }, Leaves::Nothing, "run and index"},
      {"getInstanceID", [] { return in(2); }, Leaves::Nothing, "id"},
      {"getInstanceID", [] { return in(1, 2); }, Leaves::Nothing, "run and index"},
      {"getChildrenAndParent", [] { return in(1); }, Leaves::Nothing, "id"},
      {"getChildrenAndParent", [] { return in(1, 1); }, Leaves::Nothing, "run and index"},
      {"getChildrenAndParent", [] { return in(4); }, Leaves::Nothing, "childless"},
      {"setParent", [] { return in(4, 5); }},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

void runCalls(std::vector<MethodCall>& calls) {
  const std::vector<MethodCall> rows{
      {"createEmptyRun", [] { return in(kLong, 1); }, Leaves::RunNumber, "known instance"},
      {"createEmptyRun", [] { return in(kLong, 9); }, Leaves::RunNumber, "new instance"},
      {"removeRun", [] { return in(1); }, Leaves::Tables, "with signals"},
      {"removeRun", [] { return in(3); }, Leaves::Tables, "without signals"},
      {"removeEmptyRun", [] { return in(3); }, Leaves::Tables},
      {"deleteInstanceID", [] { return in(1); }, Leaves::Tables},
      {"copyRun", [] { return in(1, 2); }, Leaves::Copy, "with signals"},
      {"copyRun", [] { return in(3, 7); }, Leaves::Copy, "without signals"},
      {"getRunID", [] { return in(1); }},
      {"getRunName", [] { return in(1); }},
      {"setRunName", [] { return in(1, kLong); }},
      {"getRunCount", [] { return in(); }},
      {"getNextRunID", [] { return in(); }},
      {"getAllRunIDs", [] { return in(1); }, Leaves::Nothing, "known"},
      {"getAllRunIDs", [] { return in(8); }, Leaves::Nothing, "unknown"},
      {"isValidRunID", [] { return in(1); }},
      {"getVersion", [] { return in(1); }},
      {"getDateCreated", [] { return in(1); }},
      {"setDateCreated", [] { return in(1, 2.5); }, Leaves::Nothing, "known"},
      {"setDateCreated", [] { return in(9, 2.5); }, Leaves::Nothing, "unknown"},
      {"updateDateCreated", [] { return in(1); }},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

// The methods that set something of a signal, with their id and with run and index.
void signalSettingCalls(std::vector<MethodCall>& calls) {
  for (const SettingMethod& setting : settingMethods()) {
    auto* const value = setting.value.good;
    calls.push_back({setting.name, [=] { return in(4, value()); }, Leaves::Nothing, "id"});
    calls.push_back(
        {setting.name, [=] { return in(2, 1, value()); }, Leaves::Nothing, "run and index"});
  }
  for (const char* method : {"getTolerance", "getSyncOptions", "resetTolerance", "resetSyncOptions",
                             "isToleranceInherited", "isSyncOptionsInherited", "getVisibility"}) {
    calls.push_back({method, [] { return in(4); }, Leaves::Nothing, "id"});
    calls.push_back({method, [] { return in(2, 1); }, Leaves::Nothing, "run and index"});
    calls.push_back({method, [] { return in(1); }, Leaves::Nothing, "inherited"});
  }
  const std::vector<MethodCall> rows{
      {"setFcnCallTol", [] { return in(4, kLong); }, Leaves::Nothing, "long"},
      {"setCustomSyncMethod", [] { return in(4, kLong); }, Leaves::Nothing, "long"},
      {"setLineColor", [] { return in(4, 0.25, 0.5, 0.75); }},
      {"setLineStyle", [] { return in(4, kLong); }},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

void runSettingCalls(std::vector<MethodCall>& calls) {
  for (const char* method :
       {"setAbsoluteToleranceByRun", "setRelativeToleranceByRun", "setTimeStartByRun",
        "setTimeEndByRun", "setTimeStepByRun", "setInitAbsTolValByRun", "setInitRelTolValByRun",
        "setAbsStepByRun", "setRelStepByRun", "setUniformTimeIntervalByRun"})
    calls.push_back({method, [] { return in(1, 0.5); }});
  const std::vector<MethodCall> rows{
      {"setFcnCallTolByRun", [] { return in(1, kLong); }},
      {"setToleranceByRun", [] { return in(1, toleranceStructure()); }},
      {"getToleranceByRun", [] { return in(1); }},
      {"setSyncMethodByRun", [] { return in(1, "uniform"); }},
      {"setInterpMethodByRun", [] { return in(1, "linear"); }},
      {"setCustomSyncMethodByRun", [] { return in(1, kLong); }},
      {"setSyncOptionsByRun", [] { return in(1, syncStructure()); }},
      {"getSyncOptionsByRun", [] { return in(1); }},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

void otherCalls(std::vector<MethodCall>& calls) {
  const std::vector<MethodCall> rows{
      {"getGroupCount", [] { return in("GSIGNALNAME"); }},
      {"getIDCount", [] { return in(SampleStore::kBlock, "GBLOCKPATH"); }},
      {"getIDFromGroup", [] { return in(1, SampleStore::kBlock, "GBLOCKPATH"); }},
      {"getGroup", [] { return in(1, "GBLOCKPATH", "ASC"); }, Leaves::SortedNames, "block"},
      {"getGroup", [] { return in(1, "GRUNNAME", "DESC"); }, Leaves::Nothing, "run"},
      {"writeToFile", [] { return in(); }, Leaves::FileMode},
      {"stopWritingToFile", [] { return in(); }},
      {"clean", [] { return in(); }},
      {"SignalRepository", [] { return in(); }},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

// Calls that fail by themselves: raising a failure takes memory too.
void refusedCalls(std::vector<MethodCall>& calls) {
  const std::vector<MethodCall> rows{
      {"getRunName", [] { return in(77); }, Leaves::Nothing, "refused", "NON_EXISTENT Run ID"},
      {"getSignal", [] { return in("no source"); }, Leaves::Nothing, "refused",
       "NON_EXISTENT Signal source"},
      {"setTolerance", [] { return in(4, kLong); }, Leaves::Nothing, "refused",
       "INPUT_MISMATCH struct"},
      {"setSyncMethod", [] { return in(4, kLong); }, Leaves::Nothing, "refused", "INVALID_SYNC"},
      {"getGroup", [] { return in(99, "GBLOCKPATH", "ASC"); }, Leaves::Nothing, "refused",
       "INDEX_OUT_OF_BOUNDS"},
      {"remove", [] { return in(77); }, Leaves::Nothing, "refused", "NON_EXISTENT ID"},
      {"add", [] { return addInputs(77); }, Leaves::SignalID, "refused", "NON_EXISTENT ID"},
  };
  calls.insert(calls.end(), rows.begin(), rows.end());
}

// A method without a call above gets one by its declared types.
Arrays plainInputs(std::string_view types) {
  Arrays inputs;
  for (const char type : types.substr(1)) {
    if (type == 'd') {
      put(inputs, 0.5);
    } else if (type == 's') {
      put(inputs, kLong);
    } else {
      put(inputs, 1);
    }
  }
  return inputs;
}

void remainingCalls(std::vector<MethodCall>& calls) {
  std::set<std::string> reached;
  for (const MethodCall& call : calls) reached.insert(call.method);
  for (const MethodRow& row : kRepositoryRows)
    if (reached.insert(row.name).second)
      calls.push_back({row.name, [&row] { return plainInputs(row.inputs); }});
}

}  // namespace

const std::vector<MethodCall>& repositoryCalls() {
  static const std::vector<MethodCall> all = [] {
    std::vector<MethodCall> calls;
    addCalls(calls);
    signalCalls(calls);
    runCalls(calls);
    signalSettingCalls(calls);
    runSettingCalls(calls);
    otherCalls(calls);
    refusedCalls(calls);
    remainingCalls(calls);
    return calls;
  }();
  return all;
}

}  // namespace kvr::test
