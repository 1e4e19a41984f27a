// The yardstick of adding a signal: the same tables, filled with the same copies of strings and the
// same inserts, and nothing else. No ids, palette, tests or inheritance.
#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/unordered_map.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "kvrntob/store/array_owners.h"

namespace bench {

// What a caller hands over, as a method body has it: texts that are not yet strings.
struct SignalInput {
  std::string rootSource, timeSource, dataSource, blockSource, modelSource, label, sid, rootDataSrc;
};

// The members of a record of the store, in size and kind.
struct PlainRecord {
  std::vector<std::int32_t> children;
  std::int32_t id, run;
  std::string rootSource, timeSource, dataSource;
  kvr::SharedArray values;
  std::string blockSource, modelSource, label;
  std::int32_t timeDim;
  std::vector<std::int32_t> sampleDims;
  std::int32_t port;
  std::vector<std::int32_t> channel;
  std::string sid;
  bool visible;
  std::vector<double> color;
  std::string style;
  bool inheritsTolerance, inheritsSync;
  struct {
    std::int32_t type;
    double numbers[9];
    std::string text;
  } tolerance;
  struct {
    std::int32_t method, interpolation;
    double interval;
    std::string text;
    std::int32_t type;
  } sync;
  kvr::SharedArray metaData;
  bool inFile, hasParent;
  std::string rootDataSrc;
  std::int32_t parent, instance;
};

class PlainStore {
 public:
  void add(std::int32_t id, const SignalInput& input, const kvr::SharedArray& values) {
    auto record = boost::make_shared<PlainRecord>();
    record->id = id;
    record->run = 1;
    record->rootSource = input.rootSource.c_str();
    record->timeSource = input.timeSource.c_str();
    record->dataSource = input.dataSource.c_str();
    record->values = values;
    record->blockSource = input.blockSource.c_str();
    record->modelSource = input.modelSource.c_str();
    record->label = input.label.c_str();
    record->sampleDims = {1};
    record->sid = input.sid.c_str();
    record->color = {0, 0, 0};
    record->style = "-";
    record->metaData = values;
    record->rootDataSrc = input.rootDataSrc.c_str();
    bySource_[record->dataSource] = record;
    enter(blocks_, blockNames_, record->blockSource, id);
    enter(sources_, sourceNames_, record->dataSource, id);
    enter(labels_, labelNames_, record->label, id);
    enter(models_, modelNames_, record->modelSource, id);
    byID_[id] = record;
    byRun_[1].push_back(record);
  }

  std::size_t size() const { return byID_.size(); }

 private:
  using Record = boost::shared_ptr<PlainRecord>;
  using Groups = boost::unordered_map<std::string, std::vector<std::int32_t>>;

  static void enter(Groups& groups, std::vector<std::string>& names, const std::string& key,
                    std::int32_t id) {
    const auto [entry, isNew] = groups.try_emplace(key);
    if (isNew) names.push_back(key);
    entry->second.push_back(id);
  }

  boost::unordered_map<std::string, Record> bySource_;
  boost::unordered_map<std::int32_t, Record> byID_;
  boost::unordered_map<std::int32_t, std::vector<Record>> byRun_;
  Groups blocks_, sources_, labels_, models_;
  std::vector<std::string> blockNames_, sourceNames_, labelNames_, modelNames_;
};

}  // namespace bench
