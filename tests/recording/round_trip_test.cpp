// What is written comes back, bit for bit, and what cannot be written is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "tests/recording/sample.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
using ::testing::ElementsAre;

class RoundTripTest : public ::testing::Test {
 protected:
  std::string path() const { return directory_.file("drive.kvr"); }
  ScratchDirectory directory_;
};

TEST_F(RoundTripTest, RunKeepsAllFields) {
  writeSample(path());
  const RunEntry run = Reader(path()).runs(1, 1).front();
  EXPECT_EQ(run.name, "Monday");
  EXPECT_EQ(run.version, "1.2");
  EXPECT_EQ(run.created, 1'790'000'000'123'456);
  EXPECT_EQ(run.instance, 3);
  EXPECT_EQ(run.tolerance.relative, 0.01);
  EXPECT_EQ(run.sync.method, "uniform");
  EXPECT_EQ(run.firstSignal, 1);
  EXPECT_EQ(run.signals, 3);
}

TEST_F(RoundTripTest, SignalKeepsAllFields) {
  writeSample(path());
  const SignalEntry signal = Reader(path()).signals(1, 1).front();
  EXPECT_EQ(signal.label, "speed");
  EXPECT_EQ(signal.path, "car/engine");
  EXPECT_EQ(signal.model, "car");
  EXPECT_EQ(signal.source, "speed sensor");
  EXPECT_EQ(signal.rootSource, "bus");
  EXPECT_EQ(signal.timeSource, "s");
  EXPECT_EQ(signal.sid, "car:1");
  EXPECT_EQ(signal.unit, "m/s");
  EXPECT_EQ(signal.port, 2);
  EXPECT_THAT(signal.channel, ElementsAre(1, -2, 3));
  EXPECT_THAT(signal.color, ElementsAre(1, 0.5, 0));
  EXPECT_EQ(signal.dash, "--");
  EXPECT_TRUE(signal.visible);
  EXPECT_EQ(signal.tolerance->type, 1);
  EXPECT_EQ(signal.tolerance->initialAbsolute, 0.5);
  EXPECT_EQ(signal.sync->function, "edges");
}

TEST_F(RoundTripTest, SignalWithoutSettingsHasNone) {
  writeSample(path());
  const SignalEntry signal = Reader(path()).signals(2, 1).front();
  EXPECT_FALSE(signal.tolerance);
  EXPECT_FALSE(signal.sync);
  EXPECT_FALSE(signal.unit);
}

TEST_F(RoundTripTest, HierarchyIsReadBothWays) {
  writeSample(path());
  const Reader reader(path());
  EXPECT_EQ(reader.parent(2), 1);
  EXPECT_EQ(reader.parent(1), std::nullopt);
  EXPECT_THAT(reader.children(1), ElementsAre(2, 4));
}

TEST_F(RoundTripTest, NumbersOfEveryClassKeepTheirBytes) {
  std::vector<std::uint8_t> pattern(std::size_t{16} * 6);
  std::iota(pattern.begin(), pattern.end(), std::uint8_t{0xA0});
  Writer writer = Writer::create(path());
  writer.addRun({});
  const std::vector<double> times{1, 2, 3};
  for (int i = 0; i < 13; ++i) {
    const auto valueClass = static_cast<ValueClass>(i);
    writer.addSignal({}, samplesOf(times),
                     {valueClass, 3, {2}, bytesOf(pattern).first(6 * sizeOf(valueClass))});
  }
  writer.commit();
  const Reader reader(path());
  for (int i = 0; i < 13; ++i) {
    const SignalEntry signal = reader.signals(i + 1, 1).front();
    std::vector<std::byte> found(signal.bytes);
    reader.readValues(signal, 0, found);
    EXPECT_EQ(signal.valueClass, static_cast<ValueClass>(i));
    EXPECT_TRUE(std::ranges::equal(found, bytesOf(pattern).first(found.size()))) << i;
  }
}

TEST_F(RoundTripTest, NanToleranceComesBackAsNan) {
  Writer writer = Writer::create(path());
  recording::Run run;
  run.tolerance.absolute = std::numeric_limits<double>::quiet_NaN();
  run.tolerance.relative = -std::numeric_limits<double>::infinity();
  run.tolerance.start = -0.0;
  writer.addRun(run);
  writer.commit();
  const RunEntry found = Reader(path()).runs(1, 1).front();
  EXPECT_TRUE(std::isnan(found.tolerance.absolute));
  EXPECT_EQ(found.tolerance.relative, -std::numeric_limits<double>::infinity());
  EXPECT_EQ(found.tolerance.start, 0.0);
}

TEST_F(RoundTripTest, TextsKeepNulsAndEveryCharacter) {
  Writer writer = Writer::create(path());
  recording::Run run;
  run.name = std::string("a\0b", 3) + "\xC3\xA9\xF0\x9F\x98\x80";
  writer.addRun(run);
  writer.commit();
  EXPECT_EQ(Reader(path()).runs(1, 1).front().name, run.name);
}

// 3,000,001 bytes are two whole pieces and a part.
TEST_F(RoundTripTest, RangesCrossPieces) {
  std::vector<std::uint8_t> values(3'000'001);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  std::vector<double> times(values.size());
  std::iota(times.begin(), times.end(), 0.0);
  Writer writer = Writer::create(path());
  writer.addRun({});
  writer.addSignal({}, samplesOf(times), {ValueClass::kUint8, values.size(), {}, bytesOf(values)});
  writer.commit();
  const Reader reader(path());
  const SignalEntry signal = reader.signals(1, 1).front();
  constexpr std::size_t piece = std::size_t{1} << 20;
  for (const std::size_t from : {std::size_t{0}, piece - 1, piece, 2 * piece - 1, 3'000'000UL}) {
    for (const std::size_t count : {0UL, 1UL, 2UL, piece, piece + 2, 3'000'001UL}) {
      if (count > values.size() - from) continue;
      std::vector<std::byte> found(count);
      reader.readValues(signal, from, found);
      EXPECT_TRUE(std::ranges::equal(found, bytesOf(values).subspan(from, count))) << from << count;
    }
  }
  std::vector<std::byte> beyond(2);
  EXPECT_THROW(reader.readValues(signal, 3'000'000, beyond), std::invalid_argument);
  EXPECT_THROW(reader.readValues(signal, UINT64_MAX, beyond), std::invalid_argument);
}

TEST_F(RoundTripTest, EqualTimesAreKeptOnce) {
  const std::vector<double> one{0, 1};
  const std::vector<double> other{0, 2};
  const std::vector<std::int64_t> integers{0, 4'611'686'018'427'387'904};  // the bytes of {0, 2}
  Writer writer = Writer::create(path());
  writer.addRun({});
  for (const auto* times : {&one, &other, &one})
    writer.addSignal({}, samplesOf(*times), samplesOf(one));
  writer.addRun({});
  writer.addSignal({}, samplesOf(other), samplesOf(one));
  writer.addSignal({}, {ValueClass::kInt64, 2, {}, bytesOf(integers)}, samplesOf(one));
  writer.commit();
  std::vector<std::int64_t> bases;
  for (const SignalEntry& signal : Reader(path()).signals(1, 5)) bases.push_back(signal.timeBase);
  EXPECT_THAT(bases, ElementsAre(1, 2, 1, 2, 3));
}

TEST_F(RoundTripTest, SameContentGivesTheSameBytes) {
  writeSample(path());
  writeSample(directory_.file("again.kvr"));
  EXPECT_EQ(readFile(path()), readFile(directory_.file("again.kvr")));
}

TEST_F(RoundTripTest, WrongArgumentsAreRefusedAndLeaveTheWriterUsable) {
  Writer writer = Writer::create(path());
  const std::vector<double> two{0, 1};
  EXPECT_THROW(writer.addSignal({}, samplesOf(two), samplesOf(two)),
               std::invalid_argument);  // no run
  writer.addRun({});
  const auto refused = [&](const Signal& signal, const Samples& times, const Samples& values) {
    EXPECT_THROW(writer.addSignal(signal, times, values), std::invalid_argument);
  };
  const std::vector<double> three{0, 1, 2};
  refused({}, samplesOf(three), samplesOf(two));
  refused({}, {ValueClass::kComplexSingle, 2, {}, bytesOf(two)}, samplesOf(two));
  refused({}, {ValueClass::kDouble, 2, {1}, bytesOf(two)}, samplesOf(two));
  refused({}, samplesOf(two), {ValueClass::kDouble, 2, {2}, bytesOf(two)});
  refused({}, samplesOf(two), {ValueClass::kDouble, 2, {UINT64_MAX, 4}, bytesOf(two)});
  refused({}, samplesOf(two),
          {ValueClass::kDouble, 2, std::vector<std::uint64_t>(33, 1), bytesOf(two)});
  refused({.label = "\xFF"}, samplesOf(two), samplesOf(two));
  refused({.label = "\xED\xA0\x80"}, samplesOf(two), samplesOf(two));  // half a character
  refused({.label = std::string(1 << 20, 'x'), .path = "y"}, samplesOf(two), samplesOf(two));
  const std::int64_t first = writer.addSignal({}, samplesOf(two), samplesOf(two));
  const std::int64_t second = writer.addSignal({}, samplesOf(two), samplesOf(two));
  EXPECT_THROW(writer.setParent(first, 3), std::invalid_argument);
  EXPECT_THROW(writer.setParent(first, first), std::invalid_argument);
  writer.setParent(second, first);
  EXPECT_THROW(writer.setParent(second, first), std::invalid_argument);
  EXPECT_THROW(writer.setParent(first, second), std::invalid_argument);
  writer.commit();
  EXPECT_THROW(writer.addRun({}), std::invalid_argument);
  EXPECT_EQ(Reader(path()).signalCount(), 2);
}

TEST_F(RoundTripTest, LongestTextsComeBack) {
  Writer writer = Writer::create(path());
  recording::Run run;
  run.name = std::string(1 << 20, 'x');
  writer.addRun(run);
  writer.commit();
  EXPECT_EQ(Reader(path()).runs(1, 1).front().name, run.name);
  EXPECT_TRUE(verify(path()).empty());
}

TEST_F(RoundTripTest, ReadingLeavesTheFolderAsItWas) {
  writeSample(path());
  const std::string before = readFile(path());
  contentOf(path());
  EXPECT_TRUE(verify(path()).empty());
  EXPECT_EQ(readFile(path()), before);
  const std::filesystem::directory_iterator files(directory_.path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

}  // namespace
}  // namespace kvr::test
