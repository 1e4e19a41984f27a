// Every method of a map in every form, as calls on a map of any of the 91 pairs of types.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/reliability/attempt.h"
#include "tests/reliability/sample_store.h"
#include "tests/typedmap/samples.h"

namespace kvr::test {

inline constexpr int kEntries = 3;
inline constexpr int kFirst = 5;  // samples 5, 6, 7
inline constexpr int kAbsent = 9;

struct SampleType {
  const char* name;
  OwnedArray (*sample)(int number);
  OwnedArray (*scalar)();  // what a map of the type is made from
};

template <class T>
inline OwnedArray scalarOf() {
  if constexpr (std::is_same_v<T, std::string>) {
    return aText("x");
  } else if constexpr (std::is_same_v<T, vrArray*>) {
    return aCell();
  } else {
    return sampleArray<T>(kFirst);
  }
}

template <class T>
constexpr SampleType typeOf() {
  return {typeName<T>, sampleArray<T>, scalarOf<T>};
}

inline constexpr SampleType kKeys[] = {
    typeOf<std::string>(),   typeOf<double>(),       typeOf<float>(),        typeOf<std::int32_t>(),
    typeOf<std::uint32_t>(), typeOf<std::int64_t>(), typeOf<std::uint64_t>()};
inline constexpr SampleType kValues[] = {
    typeOf<bool>(),          typeOf<std::string>(),   typeOf<double>(),
    typeOf<float>(),         typeOf<std::int8_t>(),   typeOf<std::uint8_t>(),
    typeOf<std::int16_t>(),  typeOf<std::uint16_t>(), typeOf<std::int32_t>(),
    typeOf<std::uint32_t>(), typeOf<std::int64_t>(),  typeOf<std::uint64_t>(),
    typeOf<vrArray*>()};
static_assert(std::size(kKeys) * std::size(kValues) == 91);

struct Pair {
  const SampleType& key;
  const SampleType& value;
};

// ---- A map, and what it holds ----

inline const vormel::MethodRecord& mapMethod(const std::string& name) {
  return name == "Map" ? *kvrClass("Map").constructor() : *kvrClass("Map").findMethod(name);
}

inline Arrays pairOf(const Pair& pair, int key, int value) {
  Arrays arrays;
  arrays.push_back(pair.key.sample(key));
  arrays.push_back(pair.value.sample(value));
  return arrays;
}
inline Arrays keyOf(const Pair& pair, int key) {
  Arrays arrays;
  arrays.push_back(pair.key.sample(key));
  return arrays;
}
inline Arrays typesOf(const Pair& pair) {
  Arrays arrays;
  arrays.push_back(pair.key.scalar());
  arrays.push_back(pair.value.scalar());
  return arrays;
}
inline Arrays indexOf(int index) {
  Arrays arrays;
  arrays.push_back(anInt32(index));
  return arrays;
}

inline OwnedArray aMapOf(const Pair& pair, int entries) {
  const Arrays samples = typesOf(pair);
  vormel::CallFrame frame(mapMethod("Map"), 2, 1);
  for (std::size_t i = 0; i < 2; ++i) frame.setInput(i, samples[i].get());
  frame.run();
  OwnedArray map = frame.takeArray(0);
  for (int i = kFirst; i < kFirst + entries; ++i) {
    const Attempt attempt = attemptCall(mapMethod("insert"), map.get(), pairOf(pair, i, i));
    EXPECT_EQ(attempt.failure, "");
  }
  return map;
}

inline OwnedArray aFilledMap(const Pair& pair) { return aMapOf(pair, kEntries); }

inline OwnedArray read(const char* method, const OwnedArray& map, const vrArray* input) {
  const std::size_t inputs = input != nullptr ? 1 : 0;
  vormel::CallFrame frame(mapMethod(method), 1 + inputs, 1);
  frame.setInput(0, map.get());
  if (input != nullptr) frame.setInput(1, input);
  frame.run();
  return frame.takeArray(0);
}

// Types, then keys and values in their order.
inline Arrays contentOf(const OwnedArray& map, int entries = kEntries) {
  Arrays content;
  content.push_back(read("getKeyType", map, nullptr));
  content.push_back(read("getValueType", map, nullptr));
  for (int index = 1; index <= entries; ++index) {
    const OwnedArray number = anInt32(index);
    content.push_back(read("getKeyByIndex", map, number.get()));
    content.push_back(read("getDataByIndex", map, number.get()));
    content.push_back(read("getDataByKey", map, content[content.size() - 2].get()));
  }
  return content;
}

inline bool areEqual(const Arrays& a, const Arrays& b) {
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!vormel::equal(a[i].get(), b[i].get())) return false;
  return a.size() == b.size();
}

// ---- The calls ----

struct MapCall {
  const char* method;
  Arrays (*inputs)(const Pair& pair);
  const char* untouched = "";  // how it ends without a fault
};

inline constexpr MapCall kMapCalls[] = {
    {"Map", typesOf},
    {"insert", [](const Pair& pair) { return pairOf(pair, kAbsent, kAbsent); }},
    {"insert", [](const Pair& pair) { return pairOf(pair, kFirst, kAbsent); }},
    {"insert", [](const Pair& pair) { return pairOf(pair, kFirst, kFirst); }},
    {"getDataByKey", [](const Pair& pair) { return keyOf(pair, kFirst); }},
    {"getDataByKey", [](const Pair& pair) { return keyOf(pair, kAbsent); }, "KEY_NOT_IN_MAP"},
    {"getDataByIndex", [](const Pair&) { return indexOf(2); }},
    {"getDataByIndex", [](const Pair&) { return indexOf(4); }, "INDEX_OUT_OF_BOUNDS"},
    {"deleteDataByKey", [](const Pair& pair) { return keyOf(pair, kFirst); }},
    {"deleteDataByKey", [](const Pair& pair) { return keyOf(pair, kAbsent); }, "KEY_NOT_IN_MAP"},
    {"deleteDataByIndex", [](const Pair&) { return indexOf(2); }},
    {"deleteDataByIndex", [](const Pair&) { return indexOf(0); }, "INDEX_OUT_OF_BOUNDS"},
    {"getCount", [](const Pair&) { return Arrays(); }},
    {"isKey", [](const Pair& pair) { return keyOf(pair, kFirst); }},
    {"isKey", [](const Pair& pair) { return keyOf(pair, kAbsent); }},
    {"getKeyByIndex", [](const Pair&) { return indexOf(2); }},
    {"getKeyByIndex", [](const Pair&) { return indexOf(4); }, "INDEX_OUT_OF_BOUNDS"},
    {"getIndexByKey", [](const Pair& pair) { return keyOf(pair, kFirst); }},
    {"getIndexByKey", [](const Pair& pair) { return keyOf(pair, kAbsent); }, "KEY_NOT_IN_MAP"},
    {"getKeyType", [](const Pair&) { return Arrays(); }},
    {"getValueType", [](const Pair&) { return Arrays(); }},
};

}  // namespace kvr::test
