// The yardstick of adding a signal: the same tables, and each step written down as one would tell
// it, without thought for what the steps cost. Arguments are passed by value from step to step.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/unordered_map.hpp>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/signal_input.h"

namespace bench {

// NOLINTBEGIN(performance-unnecessary-value-param): the copies are what is measured.

class PlainStore {
 public:
  using Record = boost::shared_ptr<PlainRecord>;
  using IDs = std::vector<std::int32_t>;

  void createRun(std::int32_t run, std::int32_t instance) {
    runs_[run] = true;
    instanceByRun_[run] = instance;
  }

  std::int32_t addSignal(std::string rootSource, std::string timeSource, std::string dataSource,
                         kvr::SharedArray values, std::string blockSource, std::string modelSource,
                         std::string label, std::int32_t timeDim, IDs sampleDims, std::int32_t port,
                         IDs channel, std::string sid, std::int32_t run, kvr::SharedArray metaData,
                         std::int32_t parent, std::string rootDataSrc) {
    if (runs_.find(run) == runs_.end()) throw std::out_of_range("run");
    std::int32_t instance = -1;
    if (instanceByRun_.find(run) != instanceByRun_.end()) instance = instanceByRun_[run];
    const Record record(makeRecord(rootSource, timeSource, dataSource, values, blockSource,
                                   modelSource, label, timeDim, sampleDims, port, channel, sid, run,
                                   metaData, rootDataSrc, instance));
    if (parent != 0) {
      if (byID_.find(parent) == byID_.end()) throw std::out_of_range("parent");
      byID_[parent]->children.push_back(record->id);
      record->hasParent = true;
      record->parent = parent;
    }
    return insertRecord(dataSource, record, blockSource, label, modelSource, run);
  }

  std::size_t size() const { return byID_.size(); }

  // The names of the data source column, where they stand in memory among the records.
  std::vector<std::string>& sourceNames() { return sourceNames_; }

 private:
  using Groups = boost::unordered_map<std::string, IDs>;
  using Names = std::vector<std::string>;

  PlainRecord* makeRecord(std::string rootSource, std::string timeSource, std::string dataSource,
                          kvr::SharedArray values, std::string blockSource, std::string modelSource,
                          std::string label, std::int32_t timeDim, IDs sampleDims,
                          std::int32_t port, IDs channel, std::string sid, std::int32_t run,
                          kvr::SharedArray metaData, std::string rootDataSrc,
                          std::int32_t instance) {
    auto* record = new PlainRecord;
    record->id = ++lastID_;
    record->run = run;
    record->rootSource = rootSource;
    record->timeSource = timeSource;
    record->dataSource = dataSource;
    record->values = values;
    record->blockSource = blockSource;
    record->modelSource = modelSource;
    record->label = label;
    record->timeDim = timeDim;
    record->sampleDims = sampleDims;
    record->port = port;
    record->channel = channel;
    record->sid = sid;
    record->metaData = metaData;
    record->rootDataSrc = rootDataSrc;
    record->instance = instance;
    record->color.push_back(0);
    record->color.push_back(0);
    record->color.push_back(0);
    record->style = "-";
    return record;
  }

  std::int32_t insertRecord(std::string dataSource, Record record, std::string blockSource,
                            std::string label, std::string modelSource, std::int32_t run) {
    bySource_[dataSource] = record;
    const std::int32_t id = record->id;
    enter(blocks_, blockNames_, blockSource, id);
    enter(sources_, sourceNames_, dataSource, id);
    enter(labels_, labelNames_, label, id);
    enter(models_, modelNames_, modelSource, id);
    if (tolerances_.find(run) == tolerances_.end()) tolerances_[run] = PlainTolerance();
    if (syncOptions_.find(run) == syncOptions_.end()) syncOptions_[run] = PlainSync();
    byID_[id] = record;
    if (byRun_.find(run) == byRun_.end()) {
      byRun_[run] = std::vector<Record>(1, record);
    } else {
      byRun_[run].push_back(record);
    }
    return id;
  }

  static void enter(Groups& groups, Names& names, std::string key, std::int32_t id) {
    if (groups.find(key) == groups.end()) names.push_back(key);
    groups[key].push_back(id);
  }

  std::int32_t lastID_ = 0;
  boost::unordered_map<std::int32_t, bool> runs_;
  boost::unordered_map<std::int32_t, std::int32_t> instanceByRun_;
  boost::unordered_map<std::string, Record> bySource_;
  boost::unordered_map<std::int32_t, Record> byID_;
  boost::unordered_map<std::int32_t, std::vector<Record>> byRun_;
  boost::unordered_map<std::int32_t, PlainTolerance> tolerances_;
  boost::unordered_map<std::int32_t, PlainSync> syncOptions_;
  Groups blocks_, sources_, labels_, models_;
  Names blockNames_, sourceNames_, labelNames_, modelNames_;
};

// NOLINTEND(performance-unnecessary-value-param)

}  // namespace bench
