// The size of a file: opening it and reading a signal cost the same whatever else the file holds.
// What is counted is bytes that the kernel reads for the process, not time.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <numeric>

#include "tests/recording/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/sanitizers.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
namespace fs = std::filesystem;

constexpr std::uint64_t pages = std::uint64_t{6} * 65536;  // the tables of a large file are deeper
constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

// Bytes that this process has read, from wherever.
std::uint64_t bytesRead() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  std::uint64_t count = 0;
  counters >> name >> count;
  EXPECT_EQ(name, "rchar:");
  return count;
}

// MiB that the body has at its peak, in a process of its own.
std::uint64_t peakMemoryOf(const std::function<void()>& body) {
  const auto peak = [] {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss / 1024;
  };
  const std::string text = inProcess([&] {
    const auto before = peak();
    body();
    return std::to_string(peak() - before);
  });
  EXPECT_NE(text.find_first_of("0123456789"), std::string::npos) << text;
  return std::stoull(text);
}

// Signal number i has `samples` doubles that begin with i.
void write(const std::string& path, std::int64_t signals, std::size_t samples) {
  std::vector<double> times(samples);
  std::iota(times.begin(), times.end(), 0.0);
  std::vector<double> values = times;
  Writer writer =
      Writer::create(path, static_cast<std::uint64_t>(signals) * samples * sizeof(double));
  writer.addRun({.name = "long"});
  Signal signal;
  for (std::int64_t i = 1; i <= signals; ++i) {
    values.front() = static_cast<double>(i);
    signal.label = "signal " + std::to_string(i);
    writer.addSignal(signal, samplesOf(times), samplesOf(values));
  }
  writer.commit();
}

struct Cost {
  std::uint64_t ofOpening = 0;
  std::uint64_t ofReading = 0;  // a signal, its row too
  std::uint64_t bytes = 0;      // of the signal's values
};

Cost costOf(const std::string& path, std::int64_t signals) {
  Cost cost;
  const std::uint64_t first = bytesRead();
  const Reader reader(path);
  const std::uint64_t second = bytesRead();
  EXPECT_EQ(reader.signalCount(), signals);
  const SignalEntry signal = reader.signals(signals / 2, 1).front();
  std::vector<double> values(signal.samples);
  reader.readValues(signal, 0, std::as_writable_bytes(std::span(values)));
  cost.ofReading = bytesRead() - second;
  cost.ofOpening = second - first;
  cost.bytes = signal.bytes;
  EXPECT_EQ(values.front(), static_cast<double>(signal.id));
  EXPECT_EQ(values.back(), static_cast<double>(values.size() - 1));
  return cost;
}

TEST(SizesTest, OpeningAndReadingCostTheSameInSmallAndLargeFiles) {
  const ScratchDirectory directory;
  constexpr std::size_t samples = 100'000;
  write(directory.file("small.kvr"), 50, samples);
  write(directory.file("large.kvr"), 500, samples);
  const Cost small = costOf(directory.file("small.kvr"), 50);
  const Cost large = costOf(directory.file("large.kvr"), 500);
  EXPECT_GT(small.ofOpening, 0U);
  EXPECT_LE(large.ofOpening, small.ofOpening + pages);
  EXPECT_LE(large.ofOpening, 10 * 65536U);
  EXPECT_GE(large.ofReading, large.bytes);
  EXPECT_LE(large.ofReading, small.ofReading + pages);
  EXPECT_LE(large.ofReading, large.bytes + large.bytes / 2 + pages);
}

TEST(SizesTest, TheFileIsLittleLongerThanItsNumbers) {
  const ScratchDirectory directory;
  write(directory.file("drive.kvr"), 100, 100'000);
  EXPECT_LE(fs::file_size(directory.file("drive.kvr")),
            101 * std::uint64_t{100'000} * 8 * 102 / 100);
}

#ifndef KVR_ADDRESS_SANITIZER  // which keeps freed memory
TEST(SizesTest, WritingReadingAndVerifyingTakeTheMemoryOfAFewSignals) {
  const ScratchDirectory directory;
  const std::string path = directory.file("drive.kvr");
  EXPECT_LT(peakMemoryOf([&] { write(path, 300, 100'000); }), 40U);
  EXPECT_GT(fs::file_size(path), 220 * mebibyte);
  EXPECT_LT(peakMemoryOf([&] { costOf(path, 300); }), 10U);
  EXPECT_LT(peakMemoryOf([&] { EXPECT_TRUE(verify(path).empty()); }), 10U);
}
#endif

// Writes 10 GB, so only with KVR_LONG_TESTS, and on a disk: /dev/shm would take the memory.
TEST(SizesTest, TenGigabytesAreReadAsTenMegabytesAre) {
  if (std::getenv("KVR_LONG_TESTS") == nullptr) GTEST_SKIP() << "writes 10 GB: KVR_LONG_TESTS=1";
  const char* folder = std::getenv("KVR_LARGE_FILES");
  const std::string path = std::string(folder != nullptr ? folder : "/var/tmp") + "/kvr_large.kvr";
  constexpr std::size_t samples = 1'000'000;
  constexpr std::int64_t signals = 1250;
  if (fs::space(fs::path(path).parent_path()).available < 12'000 * mebibyte)
    GTEST_SKIP() << "less than 12 GB are free in " << fs::path(path).parent_path();
  const ScratchDirectory directory;
  write(directory.file("small.kvr"), 2, samples);
  write(path, signals, samples);
  EXPECT_GT(fs::file_size(path), 10'000'000'000U);
  const Cost small = costOf(directory.file("small.kvr"), 2);
  const Cost large = costOf(path, signals);
  EXPECT_LE(large.ofOpening, small.ofOpening + pages);
  EXPECT_LE(large.ofReading, small.ofReading + pages);
  EXPECT_LT(peakMemoryOf([&] { costOf(path, signals); }), 20U);
  fs::remove(path);
}

}  // namespace
}  // namespace kvr::test
