// Looks into a DataMap.
#pragma once

#include <string>

#include "kvrntob/typedmap/data_map.h"

template <class K, class V>
struct DataMapInspector {
  using Map = DataMap<K, V>;

  // The invariant that the container breaks, in words; empty if it keeps them all.
  static std::string brokenInvariant(const Map& map) {
    const auto count = static_cast<std::size_t>(map.count);
    if (map.valuesByKey.size() != count) return "size of valuesByKey";
    if (map.indicesByKey.size() != count) return "size of indicesByKey";
    if (map.keysByIndex.size() != count) return "length of keysByIndex";
    if (map.valuesByIndex.size() != count) return "length of valuesByIndex";
    for (std::size_t i = 0; i < count; ++i) {
      const auto index = map.indicesByKey.find(map.keysByIndex[i]);
      if (index == map.indicesByKey.end()) return "key missing in indicesByKey";
      if (index->second != static_cast<std::int32_t>(i)) return "index in indicesByKey";
      const auto value = map.valuesByKey.find(map.keysByIndex[i]);
      if (value == map.valuesByKey.end()) return "key missing in valuesByKey";
      const V atIndex = map.valuesByIndex[i];
      const bool bothNaN = value->second != value->second && atIndex != atIndex;
      if (!(value->second == atIndex) && !bothNaN) return "value in valuesByKey";
    }
    return "";
  }

  // Breaks the first invariant: the key keeps its value and loses its index.
  static void loseIndex(Map& map, const K& key) { map.indicesByKey.erase(key); }

  static std::size_t buckets(const Map& map) { return map.valuesByKey.bucket_count(); }
  static std::size_t capacity(const Map& map) { return map.keysByIndex.capacity(); }
};
