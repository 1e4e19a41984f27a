// Comparing two series, beside the least that the work could cost.
//
//   compare/read_once          a loop that reads the four arrays of a pair once
//   compare/equal_times        the same times on both sides, an absolute tolerance
//   compare/union_linear       different times on both sides, interpolated
//   compare/union_zoh          the same, held
//   compare/intersection       every other time stands in both sides
//   compare/uniform            a grid with as many steps as samples
//   compare/noisy              half of the values out, no time tolerance
//   compare/time_tolerance     the same with a window of so many samples
//   compare/time_tolerance_zoh likewise, held; the plain form of it is compare/noisy_zoh
//
// Times are per sample of one side. Each result is checked before it is timed: compare/peak_bytes
// counts the memory that a comparison takes beyond its inputs.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "bench/sizes.h"
#include "compare/compare.h"

namespace {

using namespace kvr::compare;

// Bytes in use through operator new, and the most there were.
std::atomic<std::ptrdiff_t> inUse{0};
std::atomic<std::ptrdiff_t> mostInUse{0};

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  auto* const place = static_cast<std::size_t*>(std::malloc(size + 2 * sizeof(std::size_t)));
  if (place == nullptr) throw std::bad_alloc();
  *place = size;
  inUse += static_cast<std::ptrdiff_t>(size);
  if (inUse > mostInUse) mostInUse = inUse.load();
  return place + 2;
}
[[gnu::noinline]] void operator delete(void* pointer) noexcept {
  if (pointer == nullptr) return;
  auto* const place = static_cast<std::size_t*>(pointer) - 2;
  inUse -= static_cast<std::ptrdiff_t>(*place);
  std::free(place);
}
void operator delete(void* pointer, std::size_t) noexcept { operator delete(pointer); }

namespace {

// Times that rise by 0.5 to 1.5, or by exactly 1; values that wander by up to 0.1.
struct Sides {
  std::vector<double> baselineTimes, baseline, otherTimes, other;
};

double share(std::uint64_t& state) {
  state += 0x9e3779b97f4a7c15;
  std::uint64_t z = (state ^ (state >> 30)) * 0xbf58476d1ce4e5b9;
  z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
  return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1p-53;
}

enum class Kind {
  kEqualTimes,
  kDifferentTimes,
  kEveryOtherTime,
  kNoisy
};

const Sides& sides(Kind kind, std::size_t count) {
  static Sides made;
  static Kind kindMade = Kind::kNoisy;
  if (kind == kindMade && made.baseline.size() == count) return made;
  kindMade = kind;
  made = {};
  std::uint64_t state = 1;
  double tf = 0;
  double tg = 0;
  for (auto* vector : {&made.baselineTimes, &made.baseline, &made.otherTimes, &made.other}) {
    vector->reserve(count);
  }
  for (std::size_t i = 0; i < count; ++i) {
    const auto number = static_cast<double>(i);
    const bool isShared =
        kind != Kind::kDifferentTimes && (kind != Kind::kEveryOtherTime || i % 2 == 0);
    if (kind == Kind::kEveryOtherTime) {
      tf = number;
      tg = isShared ? number : number + 0.5 * share(state);
    } else {
      tf += 0.5 + share(state);
      tg = isShared ? tf : tg + 0.5 + share(state);
    }
    made.baselineTimes.push_back(tf);
    made.otherTimes.push_back(tg);
    const double noise = kind == Kind::kNoisy ? 2 * share(state) - 1 : 0.1 * share(state);
    made.baseline.push_back(std::sin(tf * 0.001) + noise);
    made.other.push_back(std::sin(tg * 0.001) +
                         (kind == Kind::kNoisy ? 2 * share(state) - 1 : 0.1 * share(state)));
  }
  return made;
}

double readOnce(const Sides& pair) {
  double sums[4][8] = {};
  const double* const arrays[4] = {pair.baselineTimes.data(), pair.baseline.data(),
                                   pair.otherTimes.data(), pair.other.data()};
  const std::size_t count = pair.baseline.size();
  for (std::size_t i = 0; i + 8 <= count; i += 8) {
    for (std::size_t a = 0; a < 4; ++a) {
      for (std::size_t s = 0; s < 8; ++s) sums[a][s] += arrays[a][i + s];
    }
  }
  double total = 0;
  for (const auto& sum : sums) {
    for (const double s : sum) total += s;
  }
  return total;
}

void read_once(benchmark::State& state) {
  const Sides& pair = sides(Kind::kEqualTimes, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(readOnce(pair));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

struct Case {
  Kind kind;
  std::int32_t method;
  std::int32_t interpolation;
  double absolute;
  double timeTolerance;
};

// What must hold of the verdict for the time to mean anything; empty if it does.
std::string faultOf(const Verdict& verdict, const Case& what, std::size_t count) {
  if (verdict.judged != verdict.instants) return "values that were not judged";
  const double perSample = static_cast<double>(verdict.instants) / static_cast<double>(count);
  double expected = 1.0;
  if (what.kind == Kind::kDifferentTimes && what.method == 0) expected = 2.0;
  if (what.kind == Kind::kEveryOtherTime) expected = what.method == 1 ? 0.5 : 1.5;
  if (count > 1000 && std::abs(perSample - expected) > 0.02) return "another number of instants";
  if (what.kind == Kind::kNoisy && what.timeTolerance == 0 && count > 1000) {
    const double out = static_cast<double>(verdict.out) / static_cast<double>(count);
    if (std::abs(out - 0.5) > 0.05) return "not half of the values out";
  }
  return {};
}

void run(benchmark::State& state, const Case& what, double timeTolerance) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const Sides& pair = sides(what.kind, count);
  const Series baseline = seriesOf(pair.baselineTimes, pair.baseline);
  const Series other = seriesOf(pair.otherTimes, pair.other);
  Settings settings;
  settings.tolerance.absolute = what.absolute;
  settings.sync.SyncMethod = what.method;
  settings.sync.InterpMethod = what.interpolation;
  settings.sync.UniformTimeInterval = 1.0;
  Options options;
  options.coverage = Coverage::kCommon;
  options.timeTolerance = timeTolerance;
  const std::ptrdiff_t before = inUse;
  mostInUse = before;
  const Verdict verdict = compare(baseline, other, settings, options);
  Case timed = what;
  timed.timeTolerance = timeTolerance;
  const std::string fault = faultOf(verdict, timed, count);
  if (!fault.empty()) return state.SkipWithError(fault.c_str());
  state.counters["peak_bytes"] = static_cast<double>(mostInUse - before);
  state.counters["out"] = static_cast<double>(verdict.out);
  for (auto _ : state) {
    benchmark::DoNotOptimize(compare(baseline, other, settings, options).out);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// A noisy difference is that of two numbers from -1 to 1: half are within 2 - sqrt(2).
constexpr double kHalfOut = 0.5857864376269049;

void compare_case(benchmark::State& state, Case what) { run(state, what, what.timeTolerance); }
void compare_windows(benchmark::State& state, Case what) {
  run(state, what, static_cast<double>(state.range(1)) / 2);
}

void windows(benchmark::internal::Benchmark* benchmark) {
  for (const std::int64_t window : {4, 16, 64, 1024, 65536, 2'000'000}) {
    benchmark->Args({bench::sized(1'000'000), window});
  }
}

BENCHMARK(read_once)->Name("compare/read_once")->Apply(bench::at<10'000'000>);
BENCHMARK_CAPTURE(compare_case, equal_times, Case{Kind::kEqualTimes, 0, 0, 0.2, 0})
    ->Name("compare/equal_times")
    ->Apply(bench::at<10'000, 100'000, 1'000'000, 10'000'000>);
BENCHMARK_CAPTURE(compare_case, union_linear, Case{Kind::kDifferentTimes, 0, 1, 0.3, 0})
    ->Name("compare/union_linear")
    ->Apply(bench::at<10'000, 100'000, 1'000'000, 10'000'000>);
BENCHMARK_CAPTURE(compare_case, union_zoh, Case{Kind::kDifferentTimes, 0, 0, 0.3, 0})
    ->Name("compare/union_zoh")
    ->Apply(bench::at<10'000, 100'000, 1'000'000, 10'000'000>);
BENCHMARK_CAPTURE(compare_case, intersection, Case{Kind::kEveryOtherTime, 1, 0, 0.3, 0})
    ->Name("compare/intersection")
    ->Apply(bench::at<10'000'000>);
BENCHMARK_CAPTURE(compare_case, uniform, Case{Kind::kDifferentTimes, 2, 0, 0.3, 0})
    ->Name("compare/uniform")
    ->Apply(bench::at<10'000'000>);
BENCHMARK_CAPTURE(compare_case, uniform_linear, Case{Kind::kDifferentTimes, 2, 1, 0.3, 0})
    ->Name("compare/uniform_linear")
    ->Apply(bench::at<10'000'000>);
BENCHMARK_CAPTURE(compare_case, noisy, Case{Kind::kNoisy, 0, 1, kHalfOut, 0})
    ->Name("compare/noisy")
    ->Apply(bench::at<1'000'000>);
BENCHMARK_CAPTURE(compare_windows, time_tolerance, Case{Kind::kNoisy, 0, 1, kHalfOut, 0})
    ->Name("compare/time_tolerance")
    ->Apply(windows);
BENCHMARK_CAPTURE(compare_case, noisy_zoh, Case{Kind::kNoisy, 0, 0, kHalfOut, 0})
    ->Name("compare/noisy_zoh")
    ->Apply(bench::at<1'000'000>);
BENCHMARK_CAPTURE(compare_windows, time_tolerance_zoh, Case{Kind::kNoisy, 0, 0, kHalfOut, 0})
    ->Name("compare/time_tolerance_zoh")
    ->Apply(windows);

}  // namespace
