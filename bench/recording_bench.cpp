// Recording files, beside the same bytes in one plain file.
//
//   recording/save/1000        a file of 1,000 signals of 1e5 doubles that share their times
//   recording/save/plain       the same bytes, written to a file and synced
//   recording/load/1000        reading all values of that file, sums checked
//   recording/load/plain       reading the plain file in the same portions
//   recording/save_many        1e5 signals of 100 doubles; time of a signal
//   recording/read_signal/1000 reading one of the 1,000 signals of an open recording, each in turn
//   recording/read_signal/plain  the same bytes of an open plain file
//   recording/list             opening that file and listing its signals; time of the whole
//   recording/read_one/N       opening a file of N signals of 1e4 doubles and reading one
//
// The counter "percent" of recording/load/1000 is the length of the file in percent of its bytes.
//
// Files lie in /dev/shm if it is there: the disk is the same for both sides. What is read is
// compared with what was written before it is timed.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "recording/recording.h"

namespace {

using namespace kvr::recording;

constexpr std::size_t kSignals = 1000;
constexpr std::size_t kSamples = 100'000;

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// Removed at the end of the program.
const std::string& folder() {
  struct Folder {
    Folder() {
      path = access("/dev/shm", W_OK) == 0 ? "/dev/shm/kvr_bench_XXXXXX" : "/tmp/kvr_bench_XXXXXX";
      require(mkdtemp(path.data()) != nullptr, "no folder");
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::string path;
  };
  static const Folder made;
  return made.path;
}

std::vector<double> numbersFrom(double first, std::size_t count) {
  std::vector<double> numbers(count);
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

void save(const std::string& path, std::size_t signals, std::size_t samples) {
  const std::vector<double> times = numbersFrom(0, samples);
  const std::vector<double> values = numbersFrom(0.5, samples);
  Writer writer = Writer::create(path, signals * samples * sizeof(double));
  writer.addRun({.name = "bench"});
  Signal signal;
  for (std::size_t i = 0; i < signals; ++i) {
    signal.label = "signal " + std::to_string(i);
    writer.addSignal(signal, samplesOf(times), samplesOf(values));
  }
  writer.commit();
}

// Bytes as a recording of these signals has: the times, then the values of each signal.
void savePlain(const std::string& path) {
  const std::vector<double> values = numbersFrom(0.5, kSamples);
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  for (std::size_t i = 0; i <= kSignals; ++i) {
    const auto size = static_cast<ssize_t>(values.size() * sizeof(double));
    require(write(file, values.data(), static_cast<std::size_t>(size)) == size, "short write");
  }
  require(fsync(file) == 0 && close(file) == 0, "cannot sync");
}

void load(const std::string& path, std::vector<double>& to) {
  const Reader reader(path);
  for (std::int64_t id = 1; id <= reader.signalCount(); ++id)
    reader.readValues(reader.signals(id, 1).front(), 0, std::as_writable_bytes(std::span(to)));
}

void loadPlain(const std::string& path, std::vector<double>& to) {
  const int file = open(path.c_str(), O_RDONLY);
  const std::size_t size = to.size() * sizeof(double);
  while (read(file, to.data(), size) == static_cast<ssize_t>(size)) benchmark::ClobberMemory();
  close(file);
}

void saveThousand(benchmark::State& state) {
  for (auto step : state) save(folder() + "/saved.kvr", kSignals, kSamples);
  require(verify(folder() + "/saved.kvr").empty(), "the file is damaged");
  std::filesystem::remove(folder() + "/saved.kvr");
}

void saveThousandPlain(benchmark::State& state) {
  for (auto step : state) savePlain(folder() + "/saved");
  std::filesystem::remove(folder() + "/saved");
}

void loadThousand(benchmark::State& state) {
  const std::string path = folder() + "/loaded.kvr";
  save(path, kSignals, kSamples);
  std::vector<double> values(kSamples);
  load(path, values);
  require(values == numbersFrom(0.5, kSamples), "other values came back");
  for (auto step : state) load(path, values);
  state.counters["percent"] = 100.0 * static_cast<double>(std::filesystem::file_size(path)) /
                              static_cast<double>((kSignals + 1) * kSamples * sizeof(double));
  std::filesystem::remove(path);
}

void loadThousandPlain(benchmark::State& state) {
  const std::string path = folder() + "/loaded";
  savePlain(path);
  std::vector<double> values(kSamples);
  for (auto step : state) loadPlain(path, values);
  std::filesystem::remove(path);
}

// Strides over the file, so that no signal follows the one before.
std::int64_t next(std::int64_t signal) {
  return (signal + 389) % static_cast<std::int64_t>(kSignals);
}

void readSignal(benchmark::State& state) {
  const std::string path = folder() + "/signals.kvr";
  save(path, kSignals, kSamples);
  std::vector<double> values(kSamples);
  {
    const Reader reader(path);
    std::int64_t place = 0;
    for (auto step : state) {
      place = next(place);
      reader.readValues(reader.signals(place + 1, 1).front(), 0,
                        std::as_writable_bytes(std::span(values)));
    }
  }
  require(values == numbersFrom(0.5, kSamples), "other values came back");
  std::filesystem::remove(path);
}

void readSignalPlain(benchmark::State& state) {
  const std::string path = folder() + "/signals";
  savePlain(path);
  std::vector<double> values(kSamples);
  const auto size = static_cast<ssize_t>(kSamples * sizeof(double));
  const int file = open(path.c_str(), O_RDONLY);
  std::int64_t place = 0;
  for (auto step : state) {
    place = next(place);
    require(pread(file, values.data(), kSamples * sizeof(double), size * (place + 1)) == size,
            "short read");
  }
  close(file);
  require(values == numbersFrom(0.5, kSamples), "other values came back");
  std::filesystem::remove(path);
}

void saveMany(benchmark::State& state) {
  constexpr std::size_t many = 100'000;
  for (auto step : state) save(folder() + "/many.kvr", many, 100);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(many));
  std::filesystem::remove(folder() + "/many.kvr");
}

void list(benchmark::State& state) {
  save(folder() + "/list.kvr", 100'000, 100);
  for (auto step : state) {
    const Reader reader(folder() + "/list.kvr");
    std::size_t found = 0;
    for (std::int64_t first = 1; first <= reader.signalCount(); first += 1000)
      found += reader.signals(first, 1000).size();
    require(found == 100'000, "signals are missing");
  }
  std::filesystem::remove(folder() + "/list.kvr");
}

void readOne(benchmark::State& state) {
  const std::string path = folder() + "/one.kvr";
  const auto signals = state.range(0);
  save(path, static_cast<std::size_t>(signals), 10'000);
  std::vector<double> values(10'000);
  for (auto step : state) {
    const Reader reader(path);
    reader.readValues(reader.signals(signals, 1).front(), 0,
                      std::as_writable_bytes(std::span(values)));
  }
  require(values == numbersFrom(0.5, 10'000), "other values came back");
  std::filesystem::remove(path);
}

BENCHMARK(saveThousand)->Name("recording/save/1000")->UseRealTime();
BENCHMARK(saveThousandPlain)->Name("recording/save/plain")->UseRealTime();
BENCHMARK(loadThousand)->Name("recording/load/1000")->UseRealTime();
BENCHMARK(loadThousandPlain)->Name("recording/load/plain")->UseRealTime();
BENCHMARK(readSignal)->Name("recording/read_signal/1000")->UseRealTime();
BENCHMARK(readSignalPlain)->Name("recording/read_signal/plain")->UseRealTime();
BENCHMARK(saveMany)->Name("recording/save_many")->UseRealTime();
BENCHMARK(list)->Name("recording/list")->UseRealTime();
BENCHMARK(readOne)->Name("recording/read_one")->Arg(10)->Arg(1000)->Arg(10'000)->UseRealTime();

}  // namespace
