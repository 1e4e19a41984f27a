// The signals that the benchmarks of the store add, and a record of the size of the store's own.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "kvrntob/base/host_arrays.h"

namespace bench {

// What a caller hands over, as a method body has it: texts that are not yet the store's strings.
struct SignalInput {
  std::string rootSource, timeSource, dataSource, blockSource, modelSource, label, sid, rootDataSrc;
};

// One model, 100 block paths, everything else different from signal to signal.
inline std::vector<SignalInput> makeInputs(std::int64_t count) {
  std::vector<SignalInput> inputs;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    inputs.push_back({"recorder/root/" + n, "recorder/time/" + n, "recorder/data/" + n,
                      "model/subsystem/block" + std::to_string(i % 100), "model", "signal " + n,
                      "sid:" + n, "recorder/data/" + n});
  }
  return inputs;
}

inline kvr::SharedArray oneArray() {
  static const kvr::SharedArray array = kvr::keepBeyondCall(kvr::makeDouble(1));
  return array;
}

struct PlainTolerance {
  std::int32_t type = 0;
  double numbers[9] = {};
  std::string text;
};

struct PlainSync {
  std::int32_t method = 0, interpolation = 0;
  double interval = 0.01;
  std::string text;
  std::int32_t type = 0;
};

// The members of a record of the store, in size and kind.
struct PlainRecord {
  std::vector<std::int32_t> children;
  std::int32_t id = 0, run = 0;
  std::string rootSource, timeSource, dataSource;
  kvr::SharedArray values;
  std::string blockSource, modelSource, label;
  std::int32_t timeDim = 0;
  std::vector<std::int32_t> sampleDims;
  std::int32_t port = 0;
  std::vector<std::int32_t> channel;
  std::string sid;
  bool visible = false;
  std::vector<double> color;
  std::string style = " ";
  bool inheritsTolerance = true, inheritsSync = true;
  PlainTolerance tolerance;
  PlainSync sync;
  kvr::SharedArray metaData;
  bool inFile = false, hasParent = false;
  std::string rootDataSrc;
  std::int32_t parent = 0, instance = -1;
};

}  // namespace bench
