#include "examples/record_run.h"

#include <cstring>
#include <vector>

namespace {

using vormel::Interpreter;
using vormel::OwnedArray;

constexpr int kInstance = 1;
const std::vector<double> kNone;

OwnedArray row(const std::vector<double>& numbers) {
  OwnedArray array(vrCreateNumericMatrix_730(1, numbers.size(), vrDOUBLE_CLASS, 0));
  if (!numbers.empty())
    std::memcpy(vrGetData(array.get()), numbers.data(), numbers.size() * sizeof(double));
  return array;
}

OwnedArray timeSeries(const std::vector<double>& time, const std::vector<double>& values) {
  OwnedArray series = Interpreter::instance().functions().call("timeseries");
  vrSetProperty_730(series.get(), 0, "Time", row(time).get());
  vrSetProperty_730(series.get(), 0, "Data", row(values).get());
  return series;
}

}  // namespace

int recordRun(const vormel::Object& store, const std::string& day, const Recording& recording) {
  const int run = store.call("createEmptyRun", {"As of " + day, kInstance}).toInt32();
  for (const Series& series : recording.series) {
    const std::string source = day + '/' + series.name;
    const OwnedArray values = timeSeries(recording.time, series.values);
    store.call("add", {kNone, run, day + ".csv", "Date", source, values, "nowcast/" + series.name,
                       "nowcast", series.name, kNone, kNone, kNone, kNone, series.name, kNone,
                       kNone, source});
  }
  return run;
}
