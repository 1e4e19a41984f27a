// The native container behind every Dravik.kvr.Map: a hash map that keeps its entries in the order
// in which their keys were first put.
//
// An entry is reached by key or by index. Indices count from 0 and are dense: an entry's index is
// the number of keys before it that are still present.
//
// Invariants, between any two operations:
//   (1) count, the sizes of both hash maps and the lengths of both arrays are equal.
//   (2) indicesByKey[keysByIndex[i]] == i and valuesByKey[keysByIndex[i]] == valuesByIndex[i] for
//       every index i.
// An operation that throws, also for exhausted memory, leaves the container as it was.
//
// NaN equals nothing: a NaN key can be reached by index only, breaks (2) for its own entry, and
// cannot be deleted. Callers must not put one.
//
// Cost: look-up by key or index, and putting: constant on average. Deleting: constant for the last
// entry, linear for any other, since later entries move down. Not thread-safe.
#pragma once

#include <boost/container_hash/hash.hpp>
#include <boost/unordered_map.hpp>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "kvrntob/base/failure.h"

template <class K, class V>
class DataMap {
 public:
  // How a key is passed: a string as a view, which is copied only to store a new key.
  static constexpr bool keysAreStrings = std::is_same_v<K, std::string>;
  using KeyView = std::conditional_t<keysAreStrings, std::string_view, K>;

  DataMap() = default;
  DataMap(const DataMap&) = delete;
  DataMap& operator=(const DataMap&) = delete;

  // ---- Reading. Indices count from 0. ----

  std::int32_t getCount() const { return count; }

  bool isKey(KeyView key) const { return findValue(key) != nullptr; }

  // Copies of the value. Fail with KEY_NOT_IN_MAP and INDEX_OUT_OF_BOUNDS.
  V getDataByID(KeyView key) const { return valueOf(key); }
  V getDataByIndex(std::int32_t index) const { return valueAt(index); }

  // A copy of the key. Fails with INDEX_OUT_OF_BOUNDS.
  K getIDByIndex(std::int32_t index) const { return keyAt(index); }

  // Fails with KEY_NOT_IN_MAP.
  std::int32_t getIndexByID(KeyView key) const {
    const auto entry = find(indicesByKey, key, hashOf(key));
    if (entry == indicesByKey.end()) kvr::raiseFromMessage(KVR::kvr::KEY_NOT_IN_MAP());
    return entry->second;
  }

  // The same by reference, valid until the map changes. findValue returns null for an absent key;
  // the others fail likewise.
  const V* findValue(KeyView key) const {
    const auto entry = find(valuesByKey, key, hashOf(key));
    return entry == valuesByKey.end() ? nullptr : &entry->second;
  }

  const V& valueOf(KeyView key) const {
    const V* value = findValue(key);
    if (value == nullptr) kvr::raiseFromMessage(KVR::kvr::KEY_NOT_IN_MAP());
    return *value;
  }

  typename std::vector<V>::const_reference valueAt(std::int32_t index) const {
    requireIndex(index);
    return valuesByIndex[position(index)];
  }

  const K& keyAt(std::int32_t index) const {
    requireIndex(index);
    return keysByIndex[position(index)];
  }

  // ---- Changing ----

  // Appends an entry if the key is absent. Otherwise gives its entry the value and leaves index and
  // key alone; a value that equals the stored one changes nothing.
  void put(KeyView key, V value) { putEntry(key, std::move(value)); }

  // The same with a string that the map may move from.
  template <std::same_as<std::string> Key>
  void put(Key&& key, V value) {
    putEntry(std::forward<Key>(key), std::move(value));
  }

  // Removes the entry; the indices of later entries decrease by one. `key` may be a view into the
  // map itself.
  // Fails with EMPTY_MAP if there are no entries, then with KEY_NOT_IN_MAP if the key is absent.
  void deleteDataByID(KeyView key) {
    if (count < 1) kvr::raiseFromMessage(KVR::kvr::EMPTY_MAP());
    const std::size_t hash = hashOf(key);
    const auto value = find(valuesByKey, key, hash);
    if (value == valuesByKey.end()) kvr::raiseFromMessage(KVR::kvr::KEY_NOT_IN_MAP());
    const auto index = find(indicesByKey, key, hash);
    const std::int32_t removed = index->second;
    valuesByKey.erase(value);
    indicesByKey.erase(index);
    // `key` may be a view into keysByIndex and is not used from here on.
    keysByIndex.erase(keysByIndex.begin() + removed);
    valuesByIndex.erase(valuesByIndex.begin() + removed);
    --count;
    lowerIndicesFrom(removed);
  }

  // The same by index. Fails with INDEX_OUT_OF_BOUNDS, then as deleteDataByID.
  void deleteDataByIndex(std::int32_t index) { deleteDataByID(keyAt(index)); }

  // Removes all entries. Stored pointers are not released. The tables keep their memory for later
  // entries.
  void clear() {
    count = 0;
    valuesByKey.clear();
    indicesByKey.clear();
    valuesByIndex.clear();
    keysByIndex.clear();
  }

 private:
  template <class, class>
  friend struct DataMapInspector;  // lets the tests look at the fields

  using Values = boost::unordered_map<K, V>;
  using Indices = boost::unordered_map<K, std::int32_t>;

  // The hash of the key in both hash maps: a view has the hash of the string with the same bytes.
  static std::size_t hashOf(KeyView key) { return boost::hash<KeyView>()(key); }

  // Look-up with a hash that is already known.
  template <class Map>
  static auto find(Map& map, KeyView key, std::size_t hash) {
    return map.find(
        key, [hash](const KeyView&) { return hash; }, std::equal_to<>());
  }

  static std::size_t position(std::int32_t index) { return static_cast<std::size_t>(index); }

  void requireIndex(std::int32_t index) const {
    if (index >= count || index < 0) kvr::raiseFromMessage(KVR::kvr::INDEX_OUT_OF_BOUNDS());
  }

  // Numbers hash fast, so one probe finds or enters them. A string is looked up first: one hash
  // then serves both maps, and no string is made for a key that is present. Against two look-ups
  // and a copied key an overwrite takes half the time (docs/performance.md).
  template <class Key>
  void putEntry(Key&& key, V&& value) {
    if constexpr (keysAreStrings) {
      const std::size_t hash = hashOf(key);
      const auto entry = find(valuesByKey, key, hash);
      if (entry != valuesByKey.end()) return replace(entry, hash, std::move(value));
      append(valuesByKey.emplace(K(std::forward<Key>(key)), std::as_const(value)).first,
             std::move(value));
    } else {
      const auto [entry, isNew] = valuesByKey.emplace(key, std::as_const(value));
      if (!isNew) return replace(entry, hashOf(key), std::move(value));
      append(entry, std::move(value));
    }
  }

  // Removes the newest entry again unless it was entered everywhere.
  struct Appending {
    DataMap& map;
    typename Values::iterator entry;
    bool done = false;

    ~Appending() {
      if (done) return;
      map.keysByIndex.resize(position(map.count));
      map.valuesByIndex.resize(position(map.count));
      map.valuesByKey.erase(entry);
    }
  };

  // Enters the newest entry of valuesByKey everywhere else.
  void append(typename Values::iterator entry, V&& value) {
    Appending appending{*this, entry};
    keysByIndex.push_back(entry->first);
    valuesByIndex.push_back(std::move(value));
    indicesByKey.emplace(entry->first, count);
    appending.done = true;
    ++count;
  }

  // Replaces the entry's value; an equal value changes nothing. Fails with KEY_NOT_IN_MAP if the
  // entry has no index, which invariant (1) excludes.
  void replace(typename Values::iterator entry, std::size_t hash, V&& value) {
    if (entry->second == value) return;
    const auto index = find(indicesByKey, entry->first, hash);
    if (index == indicesByKey.end()) kvr::raiseFromMessage(KVR::kvr::KEY_NOT_IN_MAP());
    entry->second = std::as_const(value);  // the only step that can run out of memory
    valuesByIndex[position(index->second)] = std::move(value);
  }

  // Updates the indices of the entries from `removed` on, whose keys have moved down already: by
  // looking up each of their keys, or by one walk over the whole index map, whichever is cheaper.
  void lowerIndicesFrom(std::int32_t removed) {
    if ((count - removed) > count / walkStepsPerLookUp) {
      for (auto& entry : indicesByKey) entry.second -= static_cast<int>(entry.second > removed);
    } else {
      for (std::int32_t i = removed; i < count; ++i) setIndex(keysByIndex[position(i)], i);
    }
  }

  // The cost of looking up one key, in steps of a walk. Look-ups of numbers overlap in the
  // processor, the steps of a walk do not; a string has to be hashed and compared. Of 1e5 entries
  // the middle one is deleted in 0.7 ms instead of 3 for numbers, the first in 4 ms instead of 13
  // for strings.
  static constexpr std::int32_t walkStepsPerLookUp = keysAreStrings ? 6 : 1;

  void setIndex(KeyView key, std::int32_t newIndex) {
    const auto entry = find(indicesByKey, key, hashOf(key));
    if (entry != indicesByKey.end()) entry->second = newIndex;  // a NaN is not found
  }

  std::int32_t count = 0;
  Values valuesByKey;
  Indices indicesByKey;
  std::vector<K> keysByIndex;
  std::vector<V> valuesByIndex;  // for bool one bit per value
};
