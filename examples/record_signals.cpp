// Records two days of economic series as two runs, and reads every signal back.
//
//   record_signals MODULE DATA      such as build/release/kvrntob.so examples/data
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>

#include "embedded_host/interpreter/interpreter.h"
#include "examples/record_run.h"
#include "examples/recording_file.h"

namespace {

using vormel::Interpreter;
using vormel::Object;
using vormel::Value;

// A gap equals a gap.
bool sameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

// How many signals of the run hold what was recorded.
std::size_t countEqual(const Object& store, int run, const Recording& recording) {
  std::size_t equal = 0;
  int index = 0;
  for (const Series& series : recording.series) {
    const Value values = store.call("getSignal", {run, ++index}).field("DataValues");
    equal += sameBits(values.field("Time").toDoubles(), recording.time) &&
             sameBits(values.field("Data").toDoubles(), series.values);
  }
  return equal;
}

void printFailure(const Object& store) {
  try {
    store.call("getSignal", {99});
  } catch (const vormel::HostException& failure) {
    std::cout << "getSignal(99): " << failure.identifier() << ": " << failure.what() << '\n';
  }
}

// True if everything was read back as it was recorded.
bool recordAndReadBack(const std::string& module, const std::string& data) {
  Interpreter& host = Interpreter::instance();
  host.loadModule(module);
  const Object store = host.construct("Dravik.kvr.SignalRepository");
  bool complete = true;
  for (const std::string day : {"2016-06-29", "2016-07-29"}) {
    const Recording recording = readRecording(std::filesystem::path(data) / (day + ".csv"));
    const int run = recordRun(store, day, recording);
    const std::size_t equal = countEqual(store, run, recording);
    complete = complete && equal == recording.series.size();
    std::cout << "run " << run << ", " << store.call("getRunName", {run}).toString() << ": "
              << equal << " of " << recording.series.size() << " signals read back equal\n";
  }
  printFailure(store);
  store.call("clean");
  return complete;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: record_signals MODULE DATA\n";
    return 2;
  }
  try {
    return recordAndReadBack(argv[1], argv[2]) ? 0 : 1;
  } catch (const std::exception& error) {
    std::cerr << "record_signals: " << error.what() << '\n';
    return 1;
  }
}
