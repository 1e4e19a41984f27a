// How large a benchmark's tables are: as asked, or tiny with KVR_BENCH_TINY set in the environment,
// when the question is whether every benchmark still runs and not how long it takes.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace bench {

inline std::int64_t sized(std::int64_t size) {
  static const bool isTiny = std::getenv("KVR_BENCH_TINY") != nullptr;
  return isTiny ? std::min<std::int64_t>(size, 64) : size;
}

// For Benchmark::Apply: one argument a size.
template <std::int64_t... sizes>
void at(benchmark::internal::Benchmark* benchmark) {
  std::int64_t last = 0;
  for (const std::int64_t size : {sized(sizes)...}) {
    if (size != last) benchmark->Arg(size);
    last = size;
  }
}

}  // namespace bench
