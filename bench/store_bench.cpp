// The store: adding, finding, grouping and removing signals.
//
//   store_add/signal        addSignal, one run, one model, 100 block paths; beside it
//   store_add/floor         the bare inserts and string copies of the same tables
//   store_lookup/...        a copy of a record by id; by run and index
//   store_groups/...        size of a group, one of its ids; all names of a column, one call each
//   store_remove/run        removal of a run among signals that share one model, per signal
//   store_copy/run          copy of a run with arrays of 1e5 doubles; beside it memcpy of the
//   arrays
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstring>
#include <memory>

#include "bench/plain_store.h"
#include "kvrntob/store/array_makers.h"
#include "kvrntob/store/palette.h"
#include "kvrntob/store/signal_repository.h"

namespace {

using bench::PlainStore;
using bench::SignalInput;
using kvr::SignalRepository;

std::vector<SignalInput> makeInputs(std::int64_t count) {
  std::vector<SignalInput> inputs;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::string n = std::to_string(i);
    inputs.push_back({"recorder/root/" + n, "recorder/time/" + n, "recorder/data/" + n,
                      "model/subsystem/block" + std::to_string(i % 100), "model", "signal " + n,
                      "sid:" + n, "recorder/data/" + n});
  }
  return inputs;
}

kvr::SharedArray oneArray() {
  static const kvr::SharedArray array = kvr::keepArray(kvr::makeDouble(1));
  return array;
}

kvr::int32 add(SignalRepository& store, const SignalInput& input, kvr::int32 run,
               const kvr::SharedArray& values) {
  return store.addSignal(input.rootSource.c_str(), input.timeSource.c_str(),
                         input.dataSource.c_str(), values, input.blockSource.c_str(),
                         input.modelSource.c_str(), input.label.c_str(), 1, {1}, 0, {},
                         input.sid.c_str(), run, values, 0, input.rootDataSrc.c_str());
}

std::unique_ptr<SignalRepository> makeStore(std::int64_t count, std::int64_t runCount = 1) {
  auto store = std::make_unique<SignalRepository>();
  std::vector<kvr::int32> runs;
  for (std::int64_t run = 0; run < runCount; ++run)
    runs.push_back(store->createEmptyRun("run " + std::to_string(run), 1));
  const auto inputs = makeInputs(count);
  for (std::size_t i = 0; i < inputs.size(); ++i)
    add(*store, inputs[i], runs[i % runs.size()], oneArray());
  return store;
}

double heapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

void perSignal(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void store_add_signal(benchmark::State& state) {
  const auto inputs = makeInputs(state.range(0));
  double bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const double before = heapBytes();
    auto store = std::make_unique<SignalRepository>();
    const kvr::int32 run = store->createEmptyRun("run", 1);
    state.ResumeTiming();
    for (const SignalInput& input : inputs) add(*store, input, run, oneArray());
    state.PauseTiming();
    bytes = (heapBytes() - before) / static_cast<double>(inputs.size());
    if (store->signalCount() != state.range(0)) state.SkipWithError("signals are missing");
    store.reset();
    state.ResumeTiming();
  }
  perSignal(state);
  state.counters["bytes_per_signal"] = bytes;
}
BENCHMARK(store_add_signal)->Name("store_add/signal")->Arg(10'000)->Arg(100'000)->Arg(1'000'000);

void store_add_floor(benchmark::State& state) {
  const auto inputs = makeInputs(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto store = std::make_unique<PlainStore>();
    state.ResumeTiming();
    std::int32_t id = 0;
    for (const SignalInput& input : inputs) store->add(++id, input, oneArray());
    state.PauseTiming();
    if (static_cast<std::int64_t>(store->size()) != state.range(0))
      state.SkipWithError("signals are missing");
    store.reset();
    state.ResumeTiming();
  }
  perSignal(state);
}
BENCHMARK(store_add_floor)->Name("store_add/floor")->Arg(10'000)->Arg(100'000)->Arg(1'000'000);

void store_lookup_by_id(benchmark::State& state) {
  const kvr::int32 first = kvr::lastSignalID + 1;
  const auto store = makeStore(state.range(0));
  kvr::int32 offset = 0;
  for (auto _ : state) {
    const kvr::Data record = store->copyRecordByID(first + offset);
    if (record.getDataID() != first + offset) state.SkipWithError("wrong record");
    offset = static_cast<kvr::int32>((offset + 7919) % state.range(0));
  }
}
BENCHMARK(store_lookup_by_id)->Name("store_lookup/by_id")->Arg(100'000);

void store_lookup_by_run_index(benchmark::State& state) {
  const auto store = makeStore(state.range(0));
  const kvr::int32 run = store->runIDAt(1);
  kvr::int32 index = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store->signalIDByRunIndex(run, index));
    index = static_cast<kvr::int32>((index + 7919) % state.range(0)) + 1;
  }
}
BENCHMARK(store_lookup_by_run_index)->Name("store_lookup/by_run_index")->Arg(100'000);

void store_groups_count_and_id(benchmark::State& state) {
  const auto store = makeStore(state.range(0));  // as many data source groups
  const std::string group = "recorder/data/" + std::to_string(state.range(0) / 2);
  for (auto _ : state) {
    const kvr::int32 count = store->groupIDCount(group, kvr::Column::DataSource);
    benchmark::DoNotOptimize(store->groupIDAt(count, group, kvr::Column::DataSource));
  }
}
BENCHMARK(store_groups_count_and_id)
    ->Name("store_groups/count_and_id")
    ->RangeMultiplier(10)
    ->Range(1'000, 100'000);

void store_groups_all_names(benchmark::State& state) {
  const auto store = makeStore(state.range(0));
  const kvr::int32 count = store->groupCount(kvr::Column::DataSource);
  for (auto _ : state)
    for (kvr::int32 index = 1; index <= count; ++index)
      benchmark::DoNotOptimize(
          store->groupName(index, kvr::Column::DataSource, kvr::SortOrder::Ascending).size());
  perSignal(state);
}
BENCHMARK(store_groups_all_names)->Name("store_groups/all_names")->Arg(1'000)->Arg(10'000);

void store_remove_run(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto store = makeStore(state.range(0), 2);
    const kvr::int32 run = store->runIDAt(1);
    state.ResumeTiming();
    store->removeRun(run);
    state.PauseTiming();
    if (store->signalCount() != state.range(0) / 2) state.SkipWithError("wrong signals removed");
    store.reset();
    state.ResumeTiming();
  }
  perSignal(state);
}
BENCHMARK(store_remove_run)->Name("store_remove/run")->Arg(10'000)->Arg(100'000);

constexpr std::size_t kSamples = 100'000;

void store_copy_run(benchmark::State& state) {
  auto store = std::make_unique<SignalRepository>();
  const kvr::int32 run = store->createEmptyRun("run", 1);
  for (const SignalInput& input : makeInputs(state.range(0)))
    add(*store, input, run, kvr::keepArray(kvr::makeDoubleRow(std::vector<double>(kSamples, 1.0))));
  for (auto _ : state) {
    const kvr::int32 copy = store->copyRun(run, 1);
    state.PauseTiming();
    store->removeRun(copy);
    state.ResumeTiming();
  }
}
BENCHMARK(store_copy_run)->Name("store_copy/run")->Arg(100);

void store_copy_memcpy(benchmark::State& state) {
  const std::vector<double> source(kSamples, 1.0);
  for (auto _ : state) {
    // Values and metadata of each signal.
    std::vector<std::unique_ptr<double[]>> copies;
    for (std::int64_t i = 0; i < 2 * state.range(0); ++i) {
      copies.emplace_back(new double[kSamples]);
      std::memcpy(copies.back().get(), source.data(), kSamples * sizeof(double));
    }
    benchmark::DoNotOptimize(copies.data());
    state.PauseTiming();
    copies.clear();
    state.ResumeTiming();
  }
}
BENCHMARK(store_copy_memcpy)->Name("store_copy/memcpy")->Arg(100);

}  // namespace
