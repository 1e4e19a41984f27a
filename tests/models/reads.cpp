// The reads that show all of the visible state.
#include <set>

#include "tests/models/steps.h"

namespace kvr::models {
namespace {

class Reader {
 public:
  explicit Reader(std::vector<Step>& steps) : steps_(steps) {}

  void readStore(int object, const StoreModel& store) {
    object_ = object;
    cls_ = ClassKind::Repository;
    call("getRunCount");
    call("getNextRunID");
    call("getSignalCount");
    for (std::size_t i = 1; i <= store.runIDs.size() + 1; ++i) call("getRunID", {integer(i)});
    readRuns(store);
    readSignals(store);
    for (const auto& [source, signal] : store.signalsBySource.pairs())
      call("getSignal", {text(source)});
    for (const auto& [instance, runs] : store.runsByInstance.pairs())
      call("getAllRunIDs", {int32Scalar(instance)});
    readColumns(store);
  }

  void readMap(int object, const MapModel& map) {
    object_ = object;
    cls_ = ClassKind::Map;
    for (const char* method : {"getCount", "getKeyType", "getValueType"}) call(method);
    for (int32 index = 1; index <= map.count() + 1; ++index) {
      call("getKeyByIndex", {int32Scalar(index)});
      call("getDataByIndex", {int32Scalar(index)});
      if (index <= map.count()) call("getIndexByKey", {map.keyAt(index)});
      if (index <= map.count()) call("getDataByKey", {map.keyAt(index)});
    }
  }

 private:
  static PlainArray integer(std::size_t value) { return int32Scalar(static_cast<int32>(value)); }

  void call(const char* method, std::vector<PlainArray> inputs = {}, int nargout = 1) {
    Step step;
    step.cls = cls_;
    step.place = placeOf(cls_, method);
    step.nargout = nargout;
    step.inputs = std::move(inputs);
    step.inputs.insert(step.inputs.begin(), handleOf(object_));
    steps_.push_back(std::move(step));
  }

  void readRuns(const StoreModel& store) {
    std::set<int32> runs(store.runIDs.begin(), store.runIDs.end());
    runs.insert(store.process.lastRun + 1);
    for (const auto& [run, record] : store.runs.pairs()) runs.insert(run);
    for (const auto& [run, record] : store.runTolerances.pairs()) runs.insert(run);
    for (const int32 run : runs) {
      for (const char* method : {"isValidRunID", "getRunName", "getVersion", "getDateCreated",
                                 "getToleranceByRun", "getSyncOptionsByRun"})
        call(method, {int32Scalar(run)});
      call("getID", {int32Scalar(run), int32Scalar(1)});
    }
    for (const auto& [run, list] : store.signalsByRun.pairs()) {
      for (std::size_t i = 1; i <= list.size() + 1; ++i)
        call("getID", {int32Scalar(run), integer(i)});
    }
  }

  void readSignals(const StoreModel& store) {
    std::set<int32> signals{store.process.lastSignal + 1};
    for (const auto& [id, signal] : store.signals.pairs()) signals.insert(id);
    for (const int32 id : signals) {
      for (const char* method :
           {"getSignal", "getTolerance", "getSyncOptions", "isToleranceInherited",
            "isSyncOptionsInherited", "getVisibility", "getInstanceID", "getRootDataSource"})
        call(method, {int32Scalar(id)});
      call("getChildrenAndParent", {int32Scalar(id)}, 3);
    }
  }

  void readColumns(const StoreModel& store) {
    static const char* const columns[] = {"GRUNNAME", "GBLOCKPATH", "GDATASOURCE", "GSIGNALNAME",
                                          "GMODEL"};
    for (std::size_t code = 0; code < 5; ++code) {
      const PlainArray column = text(columns[code]);
      call("getGroupCount", {column});
      for (const auto& [name, ids] : store.columns[code].groups.pairs()) {
        call("getIDCount", {text(name), column});
        for (std::size_t i = 1; i <= ids.size() + 1; ++i)
          call("getIDFromGroup", {integer(i), text(name), column});
      }
      // The order of blocks can be seen without sorting them; that of the others cannot be seen.
      const std::size_t count = code == 0 ? store.runIDs.size() : store.columns[code].names.size();
      for (std::size_t i = 1; i <= count + 1; ++i) {
        if (code == BlockColumn) {
          call("getSignalSource", {integer(i)});
        } else {
          call("getGroup", {integer(i), column, text("asc")});
        }
      }
    }
  }

  std::vector<Step>& steps_;
  int object_ = 0;
  ClassKind cls_ = ClassKind::Repository;
};

}  // namespace

std::vector<Step> reads(const World& world) {
  std::vector<Step> steps;
  Reader reader(steps);
  std::set<const StoreModel*> seen;
  for (const ObjectModel& object : world.objects) {
    if (object.dead) continue;
    if (object.map != nullptr) reader.readMap(object.number, *object.map);
    if (object.store != nullptr && seen.insert(object.store.get()).second)
      reader.readStore(object.number, *object.store);
  }
  return steps;
}

}  // namespace kvr::models
