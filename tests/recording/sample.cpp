#include "tests/recording/sample.h"

#include <fstream>
#include <iterator>
#include <numeric>
#include <sstream>

namespace kvr::test {

using namespace recording;

void addRun(Writer& writer, const std::string& name, double first, std::size_t count) {
  std::vector<double> times(count);
  std::iota(times.begin(), times.end(), 0.0);
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), first);
  Run run;
  run.name = name;
  writer.addRun(run);
  Signal signal;
  signal.label = "count";
  writer.addSignal(signal, samplesOf(times), samplesOf(values));
}

void addSample(Writer& writer) {
  Run run;
  run.name = "Monday";
  run.version = "1.2";
  run.created = 1'790'000'000'123'456;
  run.instance = 3;
  run.tolerance.relative = 0.01;
  run.sync.method = "uniform";
  writer.addRun(run);

  const std::vector<double> time{0, 0.1, 0.2, 0.3};
  const std::vector<double> values{4.5, -0.0, 9.5, 1e300};
  Signal signal;
  signal.label = "speed";
  signal.path = "car/engine";
  signal.model = "car";
  signal.source = "speed sensor";
  signal.rootSource = "bus";
  signal.timeSource = "s";
  signal.sid = "car:1";
  signal.unit = "m/s";
  signal.port = 2;
  signal.channel = {1, -2, 3};
  signal.color = {1, 0.5, 0};
  signal.dash = "--";
  signal.visible = true;
  signal.tolerance.emplace().type = 1;
  signal.tolerance->initialAbsolute = 0.5;
  signal.sync.emplace().function = "edges";
  const std::int64_t parent =
      writer.addSignal(signal, samplesOf(time), samplesOf(values), bytesOf("metadata"));

  const std::vector<std::int16_t> shorts{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                         13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
  Signal plain;
  plain.label = "cube";
  const std::int64_t cube =
      writer.addSignal(plain, samplesOf(time), {ValueClass::kInt16, 4, {3, 2}, bytesOf(shorts)});
  plain.label = "texts";
  writer.addSignal(plain, samplesOf(time), {ValueClass::kText, 4, {}, bytesOf("four texts")});

  run = {};
  run.name = "Tuesday";
  writer.addRun(run);
  plain.label = "empty";
  const std::int64_t empty = writer.addSignal(plain, samplesOf({}), samplesOf({}));
  writer.setParent(empty, parent);
  writer.setParent(cube, parent);
}

void writeSample(const std::string& path) {
  Writer writer = Writer::create(path);
  addSample(writer);
  writer.commit();
}

namespace {

std::string hex(const std::vector<std::byte>& bytes) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : bytes) {
    text += digits[std::to_integer<int>(byte) >> 4];
    text += digits[std::to_integer<int>(byte) & 15];
  }
  return text;
}

void print(std::ostream& out, const Tolerance& tolerance) {
  out << " tolerance " << tolerance.type << ' ' << tolerance.absolute << ' ' << tolerance.relative
      << ' ' << tolerance.start << ' ' << tolerance.end << ' ' << tolerance.step << ' '
      << tolerance.initialAbsolute << ' ' << tolerance.absoluteStep << ' '
      << tolerance.initialRelative << ' ' << tolerance.relativeStep << ' ' << tolerance.function;
}

void print(std::ostream& out, const Sync& sync) {
  out << " sync " << sync.type << ' ' << sync.method << ' ' << sync.interp << ' ' << sync.interval
      << ' ' << sync.function;
}

void print(std::ostream& out, const Reader& reader, const SignalEntry& signal) {
  out << "signal " << signal.id << " of " << signal.run;
  for (const std::string& text : {signal.label, signal.path, signal.model, signal.source,
                                  signal.rootSource, signal.timeSource, signal.sid, signal.dash})
    out << " '" << text << "'";
  out << ' ' << signal.unit.value_or("no unit") << ' ' << signal.port << ' ' << signal.visible;
  for (const std::int32_t number : signal.channel) out << " channel " << number;
  for (const double part : signal.color) out << " color " << part;
  if (signal.tolerance) print(out, *signal.tolerance);
  if (signal.sync) print(out, *signal.sync);
  if (const auto parent = reader.parent(signal.id)) out << " parent " << *parent;
  for (const std::int64_t child : reader.children(signal.id)) out << " child " << child;

  const TimeBase times = reader.timeBase(signal.timeBase);
  std::vector<std::byte> time(times.samples * sizeOf(times.valueClass));
  reader.readTimes(times, 0, time);
  std::vector<std::byte> values(signal.bytes);
  reader.readValues(signal, 0, values);
  std::vector<std::byte> metadata(signal.metadataBytes);
  reader.readMetadata(signal, 0, metadata);
  out << ' ' << nameOf(times.valueClass) << ' ' << hex(time) << ' ' << nameOf(signal.valueClass)
      << ' ' << signal.samples;
  for (const std::uint64_t extent : signal.shape) out << " x " << extent;
  out << ' ' << hex(values) << ' ' << hex(metadata) << '\n';
}

}  // namespace

std::string contentOf(const std::string& path) {
  const Reader reader(path);
  std::ostringstream out;
  out.exceptions(std::ios::badbit);  // a stream would swallow exhausted memory
  for (const RunEntry& run : reader.runs(1, reader.runCount())) {
    out << "run " << run.id << " '" << run.name << "' '" << run.version << "' " << run.created
        << ' ' << run.instance.value_or(-1);
    print(out, run.tolerance);
    print(out, run.sync);
    out << '\n';
    for (const SignalEntry& signal : reader.signals(run.firstSignal, run.signals))
      print(out, reader, signal);
  }
  return out.str();
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
}

}  // namespace kvr::test
