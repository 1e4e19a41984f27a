// Records a simulated drive into a recording file, without host and Python, then reads it back:
//
//   record_to_file drive.kvr
#include <cmath>
#include <cstddef>
#include <exception>
#include <iostream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "recording/recording.h"

namespace {

using namespace kvr::recording;

constexpr double pi = 3.14159265358979323846;
constexpr std::size_t samples = 1000;
constexpr double step = 0.01;  // seconds

struct Drive {
  std::vector<double> time;
  std::vector<double> speed;
  std::vector<double> force;  // in x, y and z, sample by sample
};

Drive simulate() {
  Drive drive;
  for (std::size_t i = 0; i < samples; ++i) {
    const double time = step * static_cast<double>(i);
    drive.time.push_back(time);
    drive.speed.push_back(20 + 5 * std::sin(2 * pi * time));
    for (const double share : {1.0, 0.5, 0.25}) drive.force.push_back(share * std::cos(time));
  }
  return drive;
}

void record(const std::string& path, const Drive& drive) {
  Writer writer = Writer::create(path);
  writer.addRun({.name = "Monday"});

  Signal speed{.label = "speed", .path = "car/engine", .unit = "m/s"};
  speed.tolerance = Tolerance{.absolute = 0.1};
  writer.addSignal(speed, samplesOf(drive.time), samplesOf(drive.speed));

  const Signal force{.label = "force", .path = "car/wheel", .unit = "N"};
  Samples values = samplesOf(drive.force);
  values.count = samples;
  values.shape = {3};
  writer.addSignal(force, samplesOf(drive.time), values);  // the times are kept once
  writer.commit();
}

// The last `count` samples of a signal of plain doubles.
std::vector<double> lastSamples(const Reader& reader, const SignalEntry& signal,
                                std::size_t count) {
  std::vector<double> values(count);
  reader.readValues(signal, (signal.samples - count) * sizeof(double),
                    std::as_writable_bytes(std::span(values)));
  return values;
}

void show(const std::string& path, const Drive& drive) {
  const Reader reader(path);
  for (const RunEntry& run : reader.runs(1, reader.runCount())) {
    std::cout << "run " << run.name << '\n';
    for (const SignalEntry& signal : reader.signals(run.firstSignal, run.signals))
      std::cout << "  " << signal.path << '/' << signal.label << " [" << signal.unit.value_or("")
                << "]: " << signal.samples << " samples of class " << nameOf(signal.valueClass)
                << '\n';
  }
  const auto last = lastSamples(reader, reader.signals(1, 1).front(), 2);
  if (last != std::vector(drive.speed.end() - 2, drive.speed.end()))
    throw std::runtime_error("the last samples differ from what was recorded");
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) throw std::invalid_argument("usage: record_to_file FILE");
  const Drive drive = simulate();
  record(argv[1], drive);
  show(argv[1], drive);
  return 0;
} catch (const std::exception& failure) {
  std::cerr << "record_to_file: " << failure.what() << '\n';
  return 1;
}
