// The store: adding, finding, grouping and removing signals.
//
//   store_add/signal         addSignal, one run, one model, 100 block paths; beside it
//   store_add/floor          the bare inserts and string copies of the same tables
//   store_add/plain          the same steps written down without thought
//   store_memory/signal      memory that a signal takes, in the counter bytes_per_signal
//   store_lookup/...         a copy of a record by id; by run and index; beside them
//   store_lookup/sqlite      the same columns by a prepared select of SQLite in memory
//   store_groups/...         size of a group, one of its ids; all names of a column, one call each
//   store_groups/full_sort   one sort of the names of a column that are in order already
//   store_remove/run         removal of a run among signals that share one model, per signal
//   store_remove/instance    removal of an instance of runs with a signal each, per run
//   store_copy/run           copy of a run with arrays of 1e5 doubles; beside it
//   store_copy/memcpy        memcpy of the arrays
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "bench/floor_store.h"
#include "bench/plain_store.h"
#include "bench/signal_input.h"
#include "bench/sizes.h"
#include "bench/sqlite_signals.h"
#include "kvrntob/base/host_arrays.h"
#include "kvrntob/columns/columns.h"
#include "kvrntob/store/data.h"
#include "kvrntob/store/signal_repository.h"

namespace {

using bench::FloorStore;
using bench::makeInputs;
using bench::oneArray;
using bench::PlainStore;
using bench::SignalInput;
using kvr::SignalRepository;

kvr::int32 add(SignalRepository& store, const SignalInput& input, kvr::int32 run,
               const kvr::SharedArray& values) {
  kvr::NewSignal signal;
  signal.rootSource = input.rootSource.c_str();
  signal.timeSource = input.timeSource.c_str();
  signal.dataSource = input.dataSource.c_str();
  signal.values = values;
  signal.blockSource = input.blockSource.c_str();
  signal.modelSource = input.modelSource.c_str();
  signal.signalLabel = input.label.c_str();
  signal.timeDim = 1;
  signal.sampleDims = {1};
  signal.sid = input.sid.c_str();
  signal.runID = run;
  signal.metaData = values;
  signal.rootDataSrc = input.rootDataSrc.c_str();
  return store.addSignal(std::move(signal));
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

void perSignal(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The same filling of a store of any kind, from nothing each time.
template <class Store, class Prepare, class Add, class Count>
void fillStores(benchmark::State& state, Prepare prepare, Add add, Count count) {
  const auto inputs = makeInputs(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto store = std::make_unique<Store>();
    const kvr::int32 run = prepare(*store);
    state.ResumeTiming();
    for (const SignalInput& input : inputs) add(*store, input, run);
    state.PauseTiming();
    if (static_cast<std::int64_t>(count(*store)) != state.range(0))
      state.SkipWithError("signals are missing");
    store.reset();
    state.ResumeTiming();
  }
  perSignal(state);
}

void store_add_signal(benchmark::State& state) {
  fillStores<SignalRepository>(
      state, [](SignalRepository& store) { return store.createEmptyRun("run", 1); },
      [](SignalRepository& store, const SignalInput& input, kvr::int32 run) {
        add(store, input, run, oneArray());
      },
      [](const SignalRepository& store) { return store.signalCount(); });
}
BENCHMARK(store_add_signal)->Name("store_add/signal")->Apply(bench::at<10'000, 100'000, 1'000'000>);

void store_add_floor(benchmark::State& state) {
  fillStores<FloorStore>(
      state, [](const FloorStore&) { return 0; },
      [](FloorStore& store, const SignalInput& input, kvr::int32 /*run*/) {
        store.add(static_cast<std::int32_t>(store.size()) + 1, input, oneArray());
      },
      [](const FloorStore& store) { return store.size(); });
}
BENCHMARK(store_add_floor)->Name("store_add/floor")->Apply(bench::at<10'000, 100'000, 1'000'000>);

void addPlain(PlainStore& store, const SignalInput& input, kvr::int32 run) {
  store.addSignal(input.rootSource.c_str(), input.timeSource.c_str(), input.dataSource.c_str(),
                  oneArray(), input.blockSource.c_str(), input.modelSource.c_str(),
                  input.label.c_str(), 1, {1}, 0, {}, input.sid.c_str(), run, oneArray(), 0,
                  input.rootDataSrc.c_str());
}

void store_add_plain(benchmark::State& state) {
  fillStores<PlainStore>(
      state,
      [](PlainStore& store) {
        store.createRun(1, 1);
        return 1;
      },
      addPlain, [](const PlainStore& store) { return store.size(); });
}
BENCHMARK(store_add_plain)->Name("store_add/plain")->Apply(bench::at<10'000, 100'000, 1'000'000>);

double residentBytes() {
  std::size_t total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

void store_memory_signal(benchmark::State& state) {
  const auto inputs = makeInputs(state.range(0));
  for (auto _ : state) {
    malloc_trim(0);  // so that what is resident afterwards was not so before
    const double before = residentBytes();
    SignalRepository store;
    const kvr::int32 run = store.createEmptyRun("run", 1);
    for (const SignalInput& input : inputs) add(store, input, run, oneArray());
    state.counters["bytes_per_signal"] =
        (residentBytes() - before) / static_cast<double>(inputs.size());
  }
}
BENCHMARK(store_memory_signal)
    ->Name("store_memory/signal")
    ->Apply(bench::at<100'000>)
    ->Iterations(1);

// A store that benchmarks only look at, made once for each size.
SignalRepository& filledStore(std::int64_t count) {
  static std::map<std::int64_t, std::unique_ptr<SignalRepository>> stores;
  auto& store = stores[count];
  if (store == nullptr) store = makeStore(count);
  return *store;
}

void store_lookup_by_id(benchmark::State& state) {
  const SignalRepository& store = filledStore(state.range(0));
  const kvr::int32 first = store.signalIDByRunIndex(store.runIDAt(1), 1);
  kvr::int32 offset = 0;
  for (auto _ : state) {
    const kvr::Data record = store.copyRecordByID(first + offset);
    if (record.getDataID() != first + offset) state.SkipWithError("wrong record");
    offset = static_cast<kvr::int32>((offset + 7919) % state.range(0));
  }
}
BENCHMARK(store_lookup_by_id)->Name("store_lookup/by_id")->Apply(bench::at<100'000>);

void store_lookup_sqlite(benchmark::State& state) {
  static bench::SqliteSignals signals(state.range(0));
  kvr::int32 offset = 0;
  for (auto _ : state) {
    const bench::PlainRecord record = signals.fetch(1 + offset);
    if (record.id != 1 + offset) state.SkipWithError("wrong record");
    offset = static_cast<kvr::int32>((offset + 7919) % state.range(0));
  }
}
BENCHMARK(store_lookup_sqlite)->Name("store_lookup/sqlite")->Apply(bench::at<100'000>);

void store_lookup_by_run_index(benchmark::State& state) {
  const SignalRepository& store = filledStore(state.range(0));
  const kvr::int32 run = store.runIDAt(1);
  kvr::int32 index = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.signalIDByRunIndex(run, index));
    index = static_cast<kvr::int32>((index + 7919) % state.range(0)) + 1;
  }
}
BENCHMARK(store_lookup_by_run_index)->Name("store_lookup/by_run_index")->Apply(bench::at<100'000>);

void store_groups_count_and_id(benchmark::State& state) {
  const SignalRepository& store = filledStore(state.range(0));  // as many data source groups
  const std::string group = "recorder/data/" + std::to_string(state.range(0) / 2);
  for (auto _ : state) {
    const kvr::int32 count = store.groupIDCount(group, kvr::Column::DataSource);
    benchmark::DoNotOptimize(store.groupIDAt(count, group, kvr::Column::DataSource));
  }
}
BENCHMARK(store_groups_count_and_id)
    ->Name("store_groups/count_and_id")
    ->Apply(bench::at<1'000, 10'000, 100'000>);

void store_groups_all_names(benchmark::State& state) {
  SignalRepository& store = filledStore(state.range(0));
  const kvr::int32 count = store.groupCount(kvr::Column::DataSource);
  for (auto _ : state)
    for (kvr::int32 index = 1; index <= count; ++index)
      benchmark::DoNotOptimize(
          store.groupName(index, kvr::Column::DataSource, kvr::SortOrder::Ascending).size());
  perSignal(state);
}
BENCHMARK(store_groups_all_names)->Name("store_groups/all_names")->Apply(bench::at<1'000, 10'000>);

// What a call would cost that sorts each time, the list being in order from the second call on.
void store_groups_full_sort(benchmark::State& state) {
  PlainStore store;
  store.createRun(1, 1);
  for (const SignalInput& input : makeInputs(state.range(0))) addPlain(store, input, 1);
  auto& names = store.sourceNames();
  std::sort(names.begin(), names.end());
  for (auto _ : state) {
    std::sort(names.begin(), names.end());
    benchmark::DoNotOptimize(names.data());
  }
}
BENCHMARK(store_groups_full_sort)->Name("store_groups/full_sort")->Apply(bench::at<1'000, 10'000>);

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
BENCHMARK(store_remove_run)->Name("store_remove/run")->Apply(bench::at<10'000, 100'000>);

// Two instances in turn, so that what stays lies among what goes.
std::unique_ptr<SignalRepository> makeInstances(std::int64_t runs) {
  auto store = std::make_unique<SignalRepository>();
  const auto inputs = makeInputs(runs);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const kvr::int32 run = store->createEmptyRun("run", i % 2 == 0 ? 1 : 2);
    add(*store, inputs[i], run, oneArray());
  }
  return store;
}

void store_remove_instance(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto store = makeInstances(state.range(0));
    state.ResumeTiming();
    store->deleteInstanceID(1);
    state.PauseTiming();
    if (store->runCount() != state.range(0) / 2) state.SkipWithError("wrong runs removed");
    store.reset();
    state.ResumeTiming();
  }
  perSignal(state);
}
BENCHMARK(store_remove_instance)->Name("store_remove/instance")->Apply(bench::at<10'000, 100'000>);

constexpr std::size_t kSamples = 100'000;

void store_copy_run(benchmark::State& state) {
  auto store = std::make_unique<SignalRepository>();
  const kvr::int32 run = store->createEmptyRun("run", 1);
  for (const SignalInput& input : makeInputs(state.range(0)))
    add(*store, input, run,
        kvr::keepBeyondCall(kvr::makeDoubleRow(std::vector<double>(kSamples, 1.0))));
  for (auto _ : state) {
    const kvr::int32 copy = store->copyRun(run, 1);
    state.PauseTiming();
    store->removeRun(copy);
    state.ResumeTiming();
  }
}
BENCHMARK(store_remove_instance)->Name("store_remove/instance")->Apply(bench::at<10'000, 100'000>);
BENCHMARK(store_copy_run)->Name("store_copy/run")->Apply(bench::at<100>);

void store_copy_memcpy(benchmark::State& state) {
  const std::vector<std::vector<double>> sources(static_cast<std::size_t>(state.range(0)),
                                                 std::vector<double>(kSamples, 1.0));
  for (auto _ : state) {
    // Values and metadata of each signal.
    std::vector<std::unique_ptr<double[]>> copies;
    for (const auto& source : sources) {
      for (int array = 0; array < 2; ++array) {
        copies.emplace_back(new double[kSamples]);
        std::memcpy(copies.back().get(), source.data(), kSamples * sizeof(double));
      }
    }
    benchmark::DoNotOptimize(copies.data());
    state.PauseTiming();
    copies.clear();
    state.ResumeTiming();
  }
}
BENCHMARK(store_copy_memcpy)->Name("store_copy/memcpy")->Apply(bench::at<100>);

}  // namespace
