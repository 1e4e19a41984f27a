// The yardstick of the typed map's container: the same tables, and each operation written down step
// by step without thought for what the steps cost.
#pragma once

#include <boost/unordered_map.hpp>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace bench {

template <class K, class V>
class PlainDataMap {
 public:
  std::int32_t getCount() const { return count; }

  bool isKey(const K& key) const { return valuesByKey.find(key) != valuesByKey.end(); }

  void put(const K& key, const V& value) {
    if (valuesByKey.find(key) == valuesByKey.end()) {
      ++count;
      valuesByKey[key] = value;
      indicesByKey[key] = count - 1;
      keysByIndex.push_back(key);
      valuesByIndex.push_back(value);
      return;
    }
    if (valuesByKey[key] == value) return;
    valuesByKey[key] = value;
    requireKey(key);
    const std::int32_t index = indicesByKey[key];
    valuesByIndex[static_cast<std::size_t>(index)] = value;
  }

  V getDataByID(const K& key) {
    requireKey(key);
    return valuesByKey[key];
  }

  std::int32_t getIndexByID(const K& key) {
    requireKey(key);
    return indicesByKey[key];
  }

  V getDataByIndex(std::int32_t index) const {
    requireIndex(index);
    return valuesByIndex[static_cast<std::size_t>(index)];
  }

  K getIDByIndex(std::int32_t index) const {
    requireIndex(index);
    return keysByIndex[static_cast<std::size_t>(index)];
  }

  void deleteDataByIndex(std::int32_t index) {
    requireIndex(index);
    deleteDataByID(K(keysByIndex[static_cast<std::size_t>(index)]));
  }

  void deleteDataByID(const K& key) {
    if (count < 1) throw std::out_of_range("empty");
    requireKey(key);
    const std::int32_t index = indicesByKey[key];
    valuesByKey.erase(key);
    indicesByKey.erase(key);
    keysByIndex.erase(keysByIndex.begin() + index);
    valuesByIndex.erase(valuesByIndex.begin() + index);
    for (auto& entry : indicesByKey) {
      if (entry.second >= index) --entry.second;
    }
    --count;
  }

 private:
  void requireKey(const K& key) const {
    if (valuesByKey.find(key) == valuesByKey.end()) throw std::out_of_range("key");
  }
  void requireIndex(std::int32_t index) const {
    if (index >= count || index < 0) throw std::out_of_range("index");
  }

  std::int32_t count = 0;
  boost::unordered_map<K, V> valuesByKey;
  boost::unordered_map<K, std::int32_t> indicesByKey;
  std::vector<K> keysByIndex;
  std::vector<V> valuesByIndex;
};

}  // namespace bench
