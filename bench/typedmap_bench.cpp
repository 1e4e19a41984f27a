// The typed map: its container beside a plain one, and its methods through execute.
//
//   map_put/.../new             entries made from nothing, per entry
//   map_put/.../overwrite       every entry given another value, per entry
//   map_lookup/.../by_key       value of a key
//   map_lookup/.../index        index of a key
//   map_lookup/.../by_index     value at an index
//   map_iterate/...             key and value of every index, per entry
//   map_delete/.../front        one of the first entries; so middle and back
//   map_execute/...             the same through the methods of Dravik.kvr.Map
//
// Names end in the container that is measured: "ours", "plain", and "tsl" (tsl::ordered_map) and
// "multi_index" (boost::multi_index) where those can do the same. Times are per pass over a map, or
// per batch; items_per_second counts entries.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/map_peers.h"
#include "bench/plain_data_map.h"
#include "bench/sizes.h"
#include "embedded_host/arrays/arrays.h"
#include "embedded_host/objects/object_record.h"
#include "embedded_host/objects/records.h"
#include "kvrntob/binding/packages.h"
#include "kvrntob/typedmap/data_map.h"

namespace {

constexpr int kBatch = 16;  // deletions between two refills

// Distinct keys in random order: whole numbers, or texts of 15 characters as a host stores them.
template <class K>
K makeKey(std::int64_t i) {
  return static_cast<K>(i);
}
template <>
std::string makeKey<std::string>(std::int64_t i) {
  std::string digits = std::to_string(i);
  digits.insert(0, 8 - digits.size(), '0');
  std::string bytes;
  for (const char c : "signal_" + digits) bytes += {c, '\0'};
  return bytes;
}

template <class K>
std::vector<K> makeKeys(std::int64_t count) {
  std::vector<K> keys;
  for (std::int64_t i = 0; i < count; ++i) keys.push_back(makeKey<K>(i));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(20240801));
  return keys;
}

// What a caller does who has the bytes of a key in an array of the host: where a map takes keys by
// their bytes it names them so, else it makes the key and gives it up.
template <class Map, class K>
auto handed(const K& key) {
  if constexpr (requires { typename Map::KeyView; }) {
    return typename Map::KeyView(key);
  } else {
    return K(key);
  }
}

template <class Map, class K>
void putAll(Map& map, const std::vector<K>& keys, double firstValue) {
  for (const K& key : keys) map.put(handed<Map>(key), firstValue++);
}

void perEntry(benchmark::State& state, std::int64_t entries) {
  state.SetItemsProcessed(state.iterations() * entries);
}

template <class Map>
void expectCount(benchmark::State& state, const Map& map, std::int64_t count) {
  if (map.getCount() != count) state.SkipWithError("entries are missing");
}

template <template <class, class> class Map, class K>
void putNew(benchmark::State& state) {
  const auto keys = makeKeys<K>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto map = std::make_unique<Map<K, double>>();
    state.ResumeTiming();
    putAll(*map, keys, 0);
    state.PauseTiming();
    expectCount(state, *map, state.range(0));
    map.reset();
    state.ResumeTiming();
  }
  perEntry(state, state.range(0));
}

template <template <class, class> class Map, class K>
void overwrite(benchmark::State& state) {
  const auto keys = makeKeys<K>(state.range(0));
  Map<K, double> map;
  putAll(map, keys, 0);
  double round = 0;
  for (auto _ : state) putAll(map, keys, ++round);
  if (map.getDataByID(keys[0]) != round) state.SkipWithError("wrong value");
  perEntry(state, state.range(0));
}

template <template <class, class> class Map, class K>
void lookUpByKey(benchmark::State& state) {
  const auto keys = makeKeys<K>(state.range(0));
  Map<K, double> map;
  putAll(map, keys, 0);
  for (auto _ : state) {
    double sum = 0;
    for (const K& key : keys) sum += map.getDataByID(key);
    benchmark::DoNotOptimize(sum);
  }
  if (map.getDataByID(keys.back()) != static_cast<double>(state.range(0) - 1)) {
    state.SkipWithError("wrong value");
  }
  perEntry(state, state.range(0));
}

template <template <class, class> class Map, class K>
void lookUpIndex(benchmark::State& state) {
  const auto keys = makeKeys<K>(state.range(0));
  Map<K, double> map;
  putAll(map, keys, 0);
  for (auto _ : state) {
    std::int64_t sum = 0;
    for (const K& key : keys) sum += map.getIndexByID(key);
    if (sum != state.range(0) * (state.range(0) - 1) / 2) state.SkipWithError("wrong index");
  }
  perEntry(state, state.range(0));
}

template <template <class, class> class Map, class K>
void lookUpByIndex(benchmark::State& state) {
  Map<K, double> map;
  putAll(map, makeKeys<K>(state.range(0)), 0);
  for (auto _ : state) {
    double sum = 0;
    for (std::int32_t i = 0; i < map.getCount(); ++i) sum += map.getDataByIndex(i);
    benchmark::DoNotOptimize(sum);
  }
  perEntry(state, state.range(0));
}

template <template <class, class> class Map, class K>
void iterate(benchmark::State& state) {
  Map<K, double> map;
  putAll(map, makeKeys<K>(state.range(0)), 0);
  for (auto _ : state) {
    for (std::int32_t i = 0; i < map.getCount(); ++i) {
      benchmark::DoNotOptimize(map.getIDByIndex(i));
      benchmark::DoNotOptimize(map.getDataByIndex(i));
    }
  }
  perEntry(state, state.range(0));
}

enum Place {
  kFront,
  kMiddle,
  kBack
};

std::int32_t indexOf(Place place, std::int32_t count) {
  return place == kFront ? 0 : place == kMiddle ? count / 2 : count - 1;
}

template <template <class, class> class Map, class K, Place place>
void deleteEntries(benchmark::State& state) {
  Map<K, double> map;
  putAll(map, makeKeys<K>(state.range(0)), 0);
  std::vector<K> deleted;
  for (auto _ : state) {
    state.PauseTiming();
    putAll(map, deleted, 0);
    deleted.clear();
    for (int i = 0; i < kBatch; ++i) {
      const auto last = static_cast<std::int32_t>(state.range(0)) - 1;
      deleted.push_back(map.getIDByIndex(place == kBack ? last - i : indexOf(place, last + 1) + i));
    }
    state.ResumeTiming();
    for (const K& key : deleted) map.deleteDataByID(key);
  }
  expectCount(state, map, state.range(0) - kBatch);
  perEntry(state, kBatch);
}

// One operation on a container with both kinds of keys.
class Registration {
 public:
  explicit Registration(std::string container) : container_(std::move(container)) {}

  void operator()(const std::string& name, auto numbers, auto texts) const {
    add(name, "/number_keys", numbers);
    add(name, "/string_keys", texts);
  }

 private:
  void add(const std::string& name, const char* keys, auto function) const {
    const auto slash = name.find('/');
    const std::string full = name.substr(0, slash) + keys + name.substr(slash) + "/" + container_;
    benchmark::RegisterBenchmark(full.c_str(), function)
        ->Apply(bench::at<1'000, 100'000, 1'000'000>);
  }

  std::string container_;
};

// What the ordered maps of other libraries do as well.
template <template <class, class> class Map>
void registerPeer(const std::string& container) {
  const Registration add(container);
  add("map_put/new", putNew<Map, double>, putNew<Map, std::string>);
  add("map_put/overwrite", overwrite<Map, double>, overwrite<Map, std::string>);
  add("map_lookup/by_key", lookUpByKey<Map, double>, lookUpByKey<Map, std::string>);
  add("map_lookup/index", lookUpIndex<Map, double>, lookUpIndex<Map, std::string>);
}

template <template <class, class> class Map>
void registerContainer(const std::string& container) {
  registerPeer<Map>(container);
  const Registration add(container);
  add("map_lookup/by_index", lookUpByIndex<Map, double>, lookUpByIndex<Map, std::string>);
  add("map_iterate/all", iterate<Map, double>, iterate<Map, std::string>);
  add("map_delete/front", deleteEntries<Map, double, kFront>,
      deleteEntries<Map, std::string, kFront>);
  add("map_delete/middle", deleteEntries<Map, double, kMiddle>,
      deleteEntries<Map, std::string, kMiddle>);
  add("map_delete/back", deleteEntries<Map, double, kBack>, deleteEntries<Map, std::string, kBack>);
}

// ---- Through execute ----

ntob::ArgumentCell cell(vrArray* array) {
  ntob::ArgumentCell made{};
  made.array = array;
  return made;
}
ntob::ArgumentCell cell(std::int32_t number) {
  ntob::ArgumentCell made{};
  made.int32Value = number;
  return made;
}

vormel::ClassRecord& mapClass() {
  static vormel::ClassRecord& cls = []() -> vormel::ClassRecord& {
    ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
    return *vormel::findClass("Dravik.kvr.Map");
  }();
  return cls;
}

// A map from doubles to doubles behind a handle, with keys 0, 1, 2 ... and its methods by name.
class HostMap {
 public:
  explicit HostMap(std::int64_t entries)
      : handle_(vormel::newHandle(vormel::ObjectRecord::create(mapClass()))) {
    ntob::ArgumentCell inputs[] = {cell(key_.get()), cell(key_.get())};
    ntob::ArgumentCell outputs[] = {cell(handle_.get())};
    std::int32_t count = 1;
    mapClass().constructor()->descriptor().execute(nullptr, &count, outputs, 2, inputs);
    for (std::int64_t i = 0; i < entries; ++i) insert(static_cast<double>(i), 0);
  }

  void insert(double key, double value) {
    static ntob::TOBMethodInfo& method = find("insert");
    execute(method, cell(keyArray(key)), cell(valueArray(value)));
  }

  // The array of the key, used again each time.
  vrArray* keyArray(double key) {
    *static_cast<double*>(vrGetData(key_.get())) = key;
    return key_.get();
  }
  vrArray* valueArray(double value) {
    *static_cast<double*>(vrGetData(value_.get())) = value;
    return value_.get();
  }

  static ntob::TOBMethodInfo& find(const char* method) {
    return mapClass().findMethod(method)->descriptor();
  }

  ntob::ArgumentCell execute(ntob::TOBMethodInfo& method, ntob::ArgumentCell first = {},
                             ntob::ArgumentCell second = {}) {
    ntob::ArgumentCell inputs[] = {cell(handle_.get()), first, second};
    ntob::ArgumentCell outputs[1] = {};
    std::int32_t count = 1;
    method.execute(nullptr, &count, outputs, 3, inputs);
    return outputs[0];
  }

 private:
  vormel::OwnedArray key_{vrCreateDoubleScalar(0)};
  vormel::OwnedArray value_{vrCreateDoubleScalar(0)};
  vormel::OwnedArray handle_;
};

// Keys 0 to count - 1, in an order without a pattern.
std::int64_t nextKey(std::int64_t key, std::int64_t count) { return (key + 7919) % count; }

// The same for a caller that looks at the value, which is 0, before it asks for the next: one
// look-up does not begin while the last one waits for memory.
std::int64_t keyAfter(std::int64_t key, double value, std::int64_t count) {
  return nextKey(key + static_cast<std::int64_t>(value), count);
}

void executeGetCount(benchmark::State& state) {
  HostMap map(state.range(0));
  auto& method = HostMap::find("getCount");
  for (auto _ : state) {
    if (map.execute(method).word != state.range(0)) state.SkipWithError("wrong count");
  }
}

// The container's part of the same; so for getDataByKey below.
void containerGetCount(benchmark::State& state) {
  DataMap<double, double> map;
  for (std::int64_t i = 0; i < state.range(0); ++i) map.put(static_cast<double>(i), 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map);
    if (map.getCount() != state.range(0)) state.SkipWithError("wrong count");
  }
}

void executeGetDataByKey(benchmark::State& state) {
  HostMap map(state.range(0));
  auto& method = HostMap::find("getDataByKey");
  std::int64_t key = 0;
  for (auto _ : state) {
    const auto result = map.execute(method, cell(map.keyArray(static_cast<double>(key))));
    key = keyAfter(key, vrGetScalar(result.array), state.range(0));
    vrDestroyArray(result.array);
  }
}

void containerGetDataByKey(benchmark::State& state) {
  DataMap<double, double> map;
  for (std::int64_t i = 0; i < state.range(0); ++i) map.put(static_cast<double>(i), 0);
  std::int64_t key = 0;
  for (auto _ : state) {
    key = keyAfter(key, map.getDataByID(static_cast<double>(key)), state.range(0));
  }
}

void executeByIndex(benchmark::State& state, const char* name) {
  HostMap map(state.range(0));
  auto& method = HostMap::find(name);
  std::int64_t index = 0;
  for (auto _ : state) {
    vrDestroyArray(map.execute(method, cell(static_cast<std::int32_t>(index + 1))).array);
    index = nextKey(index, state.range(0));
  }
}

void executeGetIndexByKey(benchmark::State& state) {
  HostMap map(state.range(0));
  auto& method = HostMap::find("getIndexByKey");
  std::int64_t key = 0;
  for (auto _ : state) {
    const auto result = map.execute(method, cell(map.keyArray(static_cast<double>(key))));
    if (result.word != key + 1) state.SkipWithError("wrong index");
    key = nextKey(key, state.range(0));
  }
}

void executeInsertNew(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto map = std::make_unique<HostMap>(0);
    state.ResumeTiming();
    for (std::int64_t i = 0; i < state.range(0); ++i) map->insert(static_cast<double>(i), 1);
    state.PauseTiming();
    map.reset();
    state.ResumeTiming();
  }
  perEntry(state, state.range(0));
}

void executeInsertOverwrite(benchmark::State& state) {
  HostMap map(state.range(0));
  std::int64_t key = 0;
  double value = 0;
  for (auto _ : state) {
    map.insert(static_cast<double>(key), ++value);
    key = nextKey(key, state.range(0));
  }
}

void executeDelete(benchmark::State& state, Place place) {
  const auto count = static_cast<std::int32_t>(state.range(0));
  HostMap map(count);
  auto& remove = HostMap::find("deleteDataByIndex");
  double fresh = count;
  for (auto _ : state) {
    for (int i = 0; i < kBatch; ++i) map.execute(remove, cell(indexOf(place, count - i) + 1));
    state.PauseTiming();
    for (int i = 0; i < kBatch; ++i) map.insert(fresh++, 0);
    state.ResumeTiming();
  }
  perEntry(state, kBatch);
}

void registerMethods() {
  const auto add = [](const char* name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)
        ->Apply(bench::at<1'000, 100'000, 1'000'000>);
  };
  add("map_execute/getCount", executeGetCount);
  add("map_execute/getCount/container", containerGetCount);
  add("map_execute/getDataByKey", executeGetDataByKey);
  add("map_execute/getDataByKey/container", containerGetDataByKey);
  add("map_execute/getIndexByKey", executeGetIndexByKey);
  add("map_execute/getDataByIndex", executeByIndex, "getDataByIndex");
  add("map_execute/getKeyByIndex", executeByIndex, "getKeyByIndex");
  add("map_execute/insert/new", executeInsertNew);
  add("map_execute/insert/overwrite", executeInsertOverwrite);
  add("map_execute/deleteDataByIndex/front", executeDelete, kFront);
  add("map_execute/deleteDataByIndex/middle", executeDelete, kMiddle);
  add("map_execute/deleteDataByIndex/back", executeDelete, kBack);
}

const bool registered = [] {
  registerContainer<DataMap>("ours");
  registerContainer<bench::PlainDataMap>("plain");
  registerPeer<bench::TslOrderedMap>("tsl");
  registerPeer<bench::MultiIndexMap>("multi_index");
  registerMethods();
  return true;
}();

}  // namespace
