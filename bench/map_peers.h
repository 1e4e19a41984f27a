// Ordered maps of other libraries behind the DataMap operations that the benchmarks call.
#pragma once

#include <tsl/ordered_map.h>

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/random_access_index.hpp>
#include <boost/multi_index_container.hpp>
#include <cstdint>
#include <utility>

namespace bench {

template <class K, class V>
class TslOrderedMap {
 public:
  std::int32_t getCount() const { return static_cast<std::int32_t>(map_.size()); }
  void put(K&& key, V value) { map_.insert_or_assign(std::move(key), std::move(value)); }
  V getDataByID(const K& key) const { return map_.at(key); }
  std::int32_t getIndexByID(const K& key) const {
    return static_cast<std::int32_t>(map_.find(key) - map_.begin());
  }

 private:
  tsl::ordered_map<K, V> map_;
};

template <class K, class V>
class MultiIndexMap {
 public:
  std::int32_t getCount() const { return static_cast<std::int32_t>(entries_.size()); }
  void put(K&& key, V value) {
    const auto [entry, isNew] = entries_.push_back({std::move(key), value});
    if (!isNew) entries_.modify(entry, [&](Entry& old) { old.second = std::move(value); });
  }
  V getDataByID(const K& key) const { return byKey().find(key)->second; }
  std::int32_t getIndexByID(const K& key) const {
    const auto place = entries_.template project<0>(byKey().find(key));
    return static_cast<std::int32_t>(place - entries_.begin());
  }

 private:
  using Entry = std::pair<K, V>;
  using Key = boost::multi_index::member<Entry, K, &Entry::first>;
  using Indices = boost::multi_index::indexed_by<boost::multi_index::random_access<>,
                                                 boost::multi_index::hashed_unique<Key>>;

  const auto& byKey() const { return entries_.template get<1>(); }

  boost::multi_index_container<Entry, Indices> entries_;
};

}  // namespace bench
