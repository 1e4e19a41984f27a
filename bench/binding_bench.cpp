// Methods through their descriptors, as a host calls them.
//
//   binding_call/get_next_run_id   the least that a call costs
//   binding_call/get_run_count     the same with an array to give back
//   binding_call/get_signal        a signal of 1e5, out as a structure of 19 fields; beside it
//   binding_call/plain_values      the same 19 values made as plain C++ objects on the heap
//   binding_call/add_1000          add of a series of 1000 samples
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "bench/sizes.h"
#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/objects/call_frame.h"
#include "embedded_host/objects/records.h"
#include "kvrntob/binding/packages.h"
#include "kvrntob/store/signal_repository.h"

namespace {

const auto kSignals = static_cast<kvr::int32>(bench::sized(100'000));
constexpr std::size_t kSamples = 1000;

// The store of the process behind a host object, filled once.
const vormel::Object& filledStore() {
  static const vormel::Object object = [] {
    ntob::TOBPackage::addPackage(new DRAVIKNTOBPackageInfo);
    vormel::Object store = vormel::Interpreter::instance().construct("Dravik.kvr.SignalRepository");
    const auto run = store.call("createEmptyRun", {"run", 1}).toInt32();
    const vormel::OwnedArray values(vormel::detachedCopy(
        vormel::OwnedArray(
            vormel::makeObject("timeseries", 2, std::initializer_list<std::size_t>{1, 1}.begin()))
            .get()));
    const vormel::OwnedArray none(vrCreateString(""));
    for (kvr::int32 i = 0; i < kSignals; ++i) {
      const std::string n = std::to_string(i);
      store.call("add",
                 {none, run, "root/" + n, "time/" + n, "recorder/data/" + n, values,
                  "model/subsystem/block", "model", "signal " + n, none, std::vector<kvr::int32>{1},
                  none, none, "sid:" + n, none, none, "recorder/data/" + n});
    }
    return store;
  }();
  return object;
}

vormel::OwnedArray detached(vrArray* array) {
  const vormel::OwnedArray owned(array);
  return vormel::OwnedArray(vormel::detachedCopy(array));
}

vormel::OwnedArray makeSeries(std::size_t samples) {
  const std::size_t one[] = {1, 1};
  vormel::OwnedArray series = detached(vormel::makeObject("timeseries", 2, one));
  for (const char* property : {"Data", "Time"}) {
    const vormel::OwnedArray values(vrCreateNumericMatrix_730(1, samples, vrDOUBLE_CLASS, 0));
    vrSetProperty_730(series.get(), 0, property, values.get());
  }
  return series;
}

void call_without_arguments(benchmark::State& state, const char* name) {
  const vormel::Object& store = filledStore();
  const vormel::MethodRecord& method = *store.cls().findMethod(name);
  for (auto _ : state) {
    vormel::CallFrame call(method, 1, 1);
    call.setInput(0, store.handle());
    call.run();
    benchmark::DoNotOptimize(call.takeArray(0));
  }
}
BENCHMARK_CAPTURE(call_without_arguments, get_next_run_id, "getNextRunID")
    ->Name("binding_call/get_next_run_id");
BENCHMARK_CAPTURE(call_without_arguments, get_run_count, "getRunCount")
    ->Name("binding_call/get_run_count");

void call_get_signal(benchmark::State& state) {
  const vormel::Object& store = filledStore();
  const vormel::MethodRecord& method = *store.cls().findMethod("getSignal");
  std::vector<vormel::OwnedArray> ids;
  for (kvr::int32 i = 0; i < 1000; ++i) {
    const std::size_t one[] = {1, 1};
    ids.emplace_back(vrCreateNumericArray_730(2, one, vrINT32_CLASS, 0));
    *static_cast<kvr::int32*>(vrGetData(ids.back().get())) = 1 + (i * 7919) % kSignals;
  }
  std::size_t next = 0;
  for (auto _ : state) {
    vormel::CallFrame call(method, 2, 1);
    call.setInput(0, store.handle());
    call.setInput(1, ids[next].get());
    call.run();
    const vormel::OwnedArray signal = call.takeArray(0);
    if (vrGetNumberOfFields(signal.get()) != 19) state.SkipWithError("no signal");
    next = (next + 1) % ids.size();
  }
}
BENCHMARK(call_get_signal)->Name("binding_call/get_signal");

// Texts as a host has them, 16 bits a character.
std::unique_ptr<std::u16string> wide(const std::string& text) {
  return std::make_unique<std::u16string>(text.begin(), text.end());
}

void make_plain_values(benchmark::State& state) {
  filledStore();
  const kvr::SignalRepository& store = *kvr::SignalRepository::getInstance();
  kvr::int32 id = 1;
  for (auto _ : state) {
    const kvr::DataPtr record = store.recordPointerByID(id);
    const auto values = std::make_tuple(
        std::make_unique<kvr::int32>(record->getDataID()),
        std::make_unique<kvr::int32>(record->getRunID()), wide(record->getRootSource()),
        wide(record->getTimeSource()), wide(record->getDataSource()),
        std::make_unique<kvr::SharedArray>(record->getDataValues()), wide(record->getBlockSource()),
        wide(record->getModelSource()), wide(record->getSignalLabel()),
        std::make_unique<kvr::int32>(record->getTimeDim()),
        std::make_unique<std::vector<kvr::int32>>(record->getSampleDims()),
        std::make_unique<kvr::int32>(record->getPortIndex()),
        std::make_unique<std::vector<kvr::int32>>(record->getChannel()), wide(record->getSID()),
        std::make_unique<std::vector<double>>(record->getLineColor()),
        wide(record->getLineDashed()), std::make_unique<kvr::SharedArray>(record->getMetaData()),
        std::make_unique<kvr::int32>(record->getParentID()), wide(record->getRootDataSrc()));
    static_assert(std::tuple_size_v<std::remove_const_t<decltype(values)>> == 19);
    benchmark::DoNotOptimize(&values);
    id = (id + 7919) % kSignals + 1;
  }
}
BENCHMARK(make_plain_values)->Name("binding_call/plain_values");

// As a caller does who holds the arguments: strings as text, the rest as arrays.
void call_add(benchmark::State& state) {
  const vormel::Object& store = filledStore();
  const vormel::MethodRecord& method = *store.cls().findMethod("add");
  const auto run = store.call("createEmptyRun", {"series", 1}).toInt32();
  const vormel::OwnedArray series = makeSeries(kSamples);
  const vormel::OwnedArray none(vrCreateNumericMatrix_730(0, 0, vrDOUBLE_CLASS, 0));
  const vormel::OwnedArray sid(vrCreateString("sid"));
  const vormel::OwnedArray one(vrCreateNumericMatrix_730(1, 1, vrINT32_CLASS, 0));
  *static_cast<kvr::int32*>(vrGetData(one.get())) = 1;
  for (auto _ : state) {
    vormel::CallFrame call(method, 18, 1);
    call.setInput(0, store.handle());
    call.setInput(1, none.get());
    call.setInt32(2, run);
    const std::pair<std::size_t, const char*> texts[] = {{3, "root"},  {4, "time"},  {5, "data"},
                                                         {7, "block"}, {8, "model"}, {9, "label"},
                                                         {17, "root"}};
    for (const auto& [position, text] : texts) call.setBorrowedText(position, text);
    call.setInput(6, series.get());
    for (const std::size_t position : {10, 11, 12, 13}) call.setInput(position, one.get());
    call.setInput(14, sid.get());
    call.setInput(15, none.get());
    call.setInput(16, none.get());
    call.run();
    if (call.int32At(0) < 1) state.SkipWithError("no signal");
  }
  store.call("removeRun", {run});
}
BENCHMARK(call_add)->Name("binding_call/add_1000")->Iterations(bench::sized(2000));

}  // namespace
