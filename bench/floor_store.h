// The floor of adding a signal: the same tables, filled with the same copies of strings and the
// same inserts, and nothing else. No ids, palette, tests or inheritance.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/unordered_map.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/signal_input.h"

namespace bench {

class FloorStore {
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
