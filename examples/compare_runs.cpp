// Compares two days of economic series: values and tolerance come out of the store, compare/
// judges.
//
//   compare_runs MODULE DATA RELATIVE    such as build/release/kvrntob.so examples/data 0.005
//
// Exit code 0: every pair is within tolerance, 1: some pair is not, 2: it could not be done.
#include <exception>
#include <iostream>

#include "compare/compare.h"
#include "examples/record_run.h"

namespace {

using kvr::compare::Verdict;
using vormel::Interpreter;
using vormel::Object;
using vormel::Value;

// Judges a signal of the store against one of another run, with the tolerance in force for it.
Verdict judged(const Object& store, int baseline, int other) {
  const Value was = store.call("getSignal", {baseline}).field("DataValues");
  const Value is = store.call("getSignal", {other}).field("DataValues");
  const std::vector<double> wasTime = was.field("Time").toDoubles();
  const std::vector<double> wasData = was.field("Data").toDoubles();
  const std::vector<double> isTime = is.field("Time").toDoubles();
  const std::vector<double> isData = is.field("Data").toDoubles();
  kvr::compare::Settings settings;
  const Value tolerance = store.call("getTolerance", {baseline});
  settings.tolerance.absolute = tolerance.field("absolute").toDouble();
  settings.tolerance.relative = tolerance.field("relative").toDouble();
  return kvr::compare::compare(kvr::compare::seriesOf(wasTime, wasData),
                               kvr::compare::seriesOf(isTime, isData), settings);
}

// The files name their columns in one order, so that signals pair by their place in the run.
// Returns the number of pairs that are out.
std::size_t compareRuns(const Object& store, int baseline, int other) {
  const int count = store.call("getSignalCount", {baseline}).toInt32();
  std::size_t judgedValues = 0, outValues = 0, gained = 0, lost = 0, out = 0;
  for (int index = 1; index <= count; ++index) {
    const Verdict verdict = judged(store, store.call("getID", {baseline, index}).toInt32(),
                                   store.call("getID", {other, index}).toInt32());
    judgedValues += verdict.judged;
    outValues += verdict.out;
    gained += verdict.gained;
    lost += verdict.lost;
    out += verdict.status == kvr::compare::Status::kOut;
  }
  std::cout << out << " of " << count << " signals out; " << judgedValues << " values judged, "
            << outValues << " out, " << gained << " gained, " << lost << " lost\n";
  return out;
}

int run(const std::string& module, const std::string& data, double relative) {
  Interpreter& host = Interpreter::instance();
  host.loadModule(module);
  const Object store = host.construct("Dravik.kvr.SignalRepository");
  const auto recorded = [&](const std::string& day) {
    return recordRun(store, day, readRecording(data + '/' + day + ".csv"));
  };
  const int baseline = recorded("2016-06-29");
  const int other = recorded("2016-07-29");
  store.call("setRelativeToleranceByRun", {baseline, relative});
  const std::size_t out = compareRuns(store, baseline, other);
  store.call("clean");
  return out == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc == 4) return run(argv[1], argv[2], std::stod(argv[3]));
    std::cerr << "usage: compare_runs MODULE DATA RELATIVE\n";
  } catch (const std::exception& error) {
    std::cerr << "compare_runs: " << error.what() << '\n';
  }
  return 2;
}
