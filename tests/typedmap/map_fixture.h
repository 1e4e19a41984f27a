// Maps as the host keeps them, and their methods called through the descriptors.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "embedded_host/objects/object_record.h"
#include "embedded_host/objects/records.h"
#include "kvrntob/binding/packages.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/live_arrays.h"

namespace kvr::test {

// The class Dravik.kvr.Map, registered with the host on first need.
inline vormel::ClassRecord& mapClass() {
  static vormel::ClassRecord& cls = [&]() -> vormel::ClassRecord& {
    ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
    return *vormel::findClass("Dravik.kvr.Map");
  }();
  return cls;
}

// An input cell of each kind.
inline ntob::ArgumentCell cell(const OwnedArray& array) {
  ntob::ArgumentCell made{};
  made.array = array.get();
  return made;
}
inline ntob::ArgumentCell cell(std::int32_t number) {
  ntob::ArgumentCell made{};
  made.word = -1;  // the half that does not count holds anything
  made.int32Value = number;
  return made;
}

// What execute left behind.
struct Executed {
  static constexpr std::int64_t kUnwritten = 0x5a5a5a5a5a5a5a5a;

  std::int32_t outputCount = 0;
  std::vector<ntob::ArgumentCell> outputs;

  bool wrote(std::size_t output) const { return outputs[output].word != kUnwritten; }
  OwnedArray array() const { return OwnedArray(outputs[0].array); }
};

// Calls a method's execute with hand-made cells, outside any call of the host.
inline Executed execute(const std::string& method, std::int32_t outputCount,
                        std::vector<ntob::ArgumentCell> inputs) {
  Executed result;
  result.outputCount = outputCount;
  result.outputs.assign(4, ntob::ArgumentCell{Executed::kUnwritten});
  mapClass().findMethod(method)->descriptor().execute(
      nullptr, &result.outputCount, result.outputs.data(), static_cast<std::int32_t>(inputs.size()),
      inputs.data());
  return result;
}

// An instance whose constructor has not run.
inline OwnedArray anInstance() {
  return owned(vormel::newHandle(vormel::ObjectRecord::create(mapClass())));
}

// The body of the constructor, on an instance.
inline void construct(const OwnedArray& instance, const OwnedArray& key, const OwnedArray& value) {
  ntob::ArgumentCell outputs[] = {cell(instance)};
  ntob::ArgumentCell inputs[] = {cell(key), cell(value)};
  std::int32_t outputCount = 1;
  mapClass().constructor()->descriptor().execute(nullptr, &outputCount, outputs, 2, inputs);
}

inline OwnedArray aMapLike(const OwnedArray& key, const OwnedArray& value) {
  OwnedArray instance = anInstance();
  construct(instance, key, value);
  return instance;
}
inline OwnedArray aNumberMap() { return aMapLike(aNumber(0), aNumber(0)); }
inline OwnedArray anAnyMap() { return aMapLike(aNumber(0), aCell()); }

inline void insert(const OwnedArray& map, const OwnedArray& key, const OwnedArray& value) {
  execute("insert", 0, {cell(map), cell(key), cell(value)});
}

inline std::int64_t countOf(const OwnedArray& map) {
  return execute("getCount", 1, {cell(map)}).outputs[0].word;
}

// "key type/value type".
inline std::string typesOf(const OwnedArray& map) {
  return vrArrayToStdString(execute("getKeyType", 1, {cell(map)}).array().get()) + "/" +
         vrArrayToStdString(execute("getValueType", 1, {cell(map)}).array().get());
}

}  // namespace kvr::test
