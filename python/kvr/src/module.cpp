// The extension _kvr: the comparison, the recording files, the numbers of CSV files and the
// thinning of curves for the package kvr.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "compare/compare.h"
#include "python/kvr/src/callbacks.h"
#include "python/kvr/src/csv_numbers.h"
#include "python/kvr/src/interruption.h"
#include "python/kvr/src/recording_classes.h"
#include "python/kvr/src/sides.h"
#include "python/kvr/src/thinned.h"
#include "python/kvr/src/verdicts.h"

namespace kvr::python {
namespace {

namespace py = pybind11;

compare::Tolerance toleranceOf(const py::dict& given) {
  compare::Tolerance tolerance;
  tolerance.toleranceType = given["toleranceType"].cast<std::int32_t>();
  tolerance.absolute = given["absolute"].cast<double>();
  tolerance.relative = given["relative"].cast<double>();
  tolerance.timeStart = given["timeStart"].cast<double>();
  tolerance.timeEnd = given["timeEnd"].cast<double>();
  tolerance.timeStep = given["timeStep"].cast<double>();
  tolerance.initAbsTolVal = given["initAbsTolVal"].cast<double>();
  tolerance.absStep = given["absStep"].cast<double>();
  tolerance.initRelTolVal = given["initRelTolVal"].cast<double>();
  tolerance.relStep = given["relStep"].cast<double>();
  tolerance.fcnCall = given["fcnCall"].cast<std::string>();
  return tolerance;
}

// With the two words as their codes.
compare::Sync syncOf(const py::dict& given) {
  compare::Sync sync;
  sync.SyncMethod = given["SyncMethod"].cast<std::int32_t>();
  sync.InterpMethod = given["InterpMethod"].cast<std::int32_t>();
  sync.UniformTimeInterval = given["UniformTimeInterval"].cast<double>();
  sync.customSyncMethod = given["customSyncMethod"].cast<std::string>();
  sync.syncType = given["syncType"].cast<std::int32_t>();
  return sync;
}

// What the pairs of a batch have in common; without functions.
class Rules {
 public:
  Rules(const py::dict& tolerance, const py::dict& sync, int toleranceSource, bool wholeBaseline,
        double timeTolerance)
      : settings_{toleranceOf(tolerance), syncOf(sync), {}, {}},
        source_(static_cast<compare::Source>(toleranceSource)),
        coverage_(wholeBaseline ? compare::Coverage::kBaseline : compare::Coverage::kCommon),
        timeTolerance_(timeTolerance) {}

  // Needs no interpreter lock. Throws Stopped if `interruption` asks for it.
  Finding judge(const compare::Series& baseline, const compare::Series& other, bool isDated,
                Interruption& interruption) const {
    const compare::Options options{coverage_, timeTolerance_,
                                   [&interruption] { return interruption.check(); }};
    compare::Verdict verdict = compare::compare(baseline, other, settings_, options);
    const auto clock = isDated ? compare::Clock::kDate : compare::Clock::kNumber;
    std::string text = compare::describe(verdict, settings_, source_, clock);
    return {std::move(verdict), std::move(text)};
  }

 private:
  compare::Settings settings_;
  compare::Source source_;
  compare::Coverage coverage_;
  double timeTolerance_;
};

// Judges pairs one after the other with the interpreter lock released once. Each task is a tuple of
// both sides, their Rules and whether their times are dates. Returns a Finding for each.
py::list judgeAll(const py::list& tasks, const Stop& stop) {
  std::deque<Side> sides;
  std::vector<std::pair<const Rules*, bool>> rules;
  for (const py::handle task : tasks) {
    const auto parts = py::reinterpret_borrow<py::tuple>(task);
    sides.emplace_back(parts[0].cast<py::tuple>());
    sides.emplace_back(parts[1].cast<py::tuple>());
    rules.emplace_back(&parts[2].cast<const Rules&>(), parts[3].cast<bool>());
  }
  Interruption interruption(stop);
  std::vector<Finding> findings;
  findings.reserve(rules.size());
  try {
    const py::gil_scoped_release others;
    for (std::size_t i = 0; i < rules.size(); ++i) {
      const auto [rule, isDated] = rules[i];
      findings.push_back(
          rule->judge(sides[2 * i].series(), sides[2 * i + 1].series(), isDated, interruption));
    }
  } catch (const compare::Stopped&) {
    interruption.raise();
    throw;
  }
  py::list found(findings.size());
  for (std::size_t i = 0; i < findings.size(); ++i) found[i] = py::cast(std::move(findings[i]));
  return found;
}

// Judges a pair with the interpreter lock released; the description follows ToleranceSource.
// Returns the fields of the verdict, and the aligned values if `wantsSeries`, else None.
py::tuple judge(const py::tuple& baseline, const py::tuple& other, const py::dict& tolerance,
                const py::dict& sync, const py::object& toleranceCall, const py::object& syncCall,
                int toleranceSource, bool wholeBaseline, double timeTolerance, bool isDated,
                const Stop& stop, bool wantsSeries) {
  const Side was(baseline);
  const Side is(other);
  Interruption interruption(stop);
  const compare::Settings settings{toleranceOf(tolerance), syncOf(sync),
                                   syncFunction(syncCall, interruption),
                                   toleranceFunction(toleranceCall, interruption)};
  const auto coverage = wholeBaseline ? compare::Coverage::kBaseline : compare::Coverage::kCommon;
  const compare::Options options{coverage, timeTolerance, [&] { return interruption.check(); }};
  compare::Verdict verdict;
  compare::Aligned aligned;
  try {
    const py::gil_scoped_release others;
    verdict = wantsSeries ? compare::align(was.series(), is.series(), settings, options, aligned)
                          : compare::compare(was.series(), is.series(), settings, options);
  } catch (const compare::Stopped&) {
    interruption.raise();
    throw;
  }
  const auto source = static_cast<compare::Source>(toleranceSource);
  const auto clock = isDated ? compare::Clock::kDate : compare::Clock::kNumber;
  const py::dict fields = dictOf({verdict, compare::describe(verdict, settings, source, clock)});
  if (!wantsSeries) return py::make_tuple(fields, py::none());
  return py::make_tuple(fields, tupleOf(aligned));
}

// The sentence for a signal without a partner.
std::string describeAlone(bool missing) {
  compare::Verdict verdict;
  verdict.status = missing ? compare::Status::kMissing : compare::Status::kExtra;
  return compare::describe(verdict, {}, compare::Source::kOwn);
}

// The columns of the text of a CSV file, as readNumbers tells: an array (n,) of int64 or double
// each, None for one of other things; None altogether if the rows are not `count` cells wide.
py::object readNumbersOf(const py::str& text, std::size_t count, char delimiter, char decimal) {
  Py_ssize_t size = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
  if (bytes == nullptr) throw py::error_already_set();
  const std::string_view body(bytes, static_cast<std::size_t>(size));
  if (count == 0) throw std::invalid_argument("a table has at least one column");
  // Every row takes a byte a cell at least, so that a few short rows cannot claim much memory.
  const auto lines = static_cast<std::size_t>(std::count(body.begin(), body.end(), '\n')) + 1;
  const std::size_t most = std::min(lines, (body.size() + 1) / count + 1);
  std::vector<py::array_t<std::int64_t>> arrays;
  std::vector<NumberColumn> columns(count);
  arrays.reserve(count);
  for (NumberColumn& column : columns) {
    arrays.emplace_back(static_cast<py::ssize_t>(most));
    column.cells = arrays.back().mutable_data();
  }
  std::optional<std::size_t> rows;
  {
    const py::gil_scoped_release release;
    rows = readNumbers(body, delimiter, decimal, columns);
  }
  if (!rows) return py::none();
  py::list result;
  for (std::size_t place = 0; place < count; ++place) {
    const NumberColumn::Kind kind = columns[place].kind;
    py::object cells = arrays[place][py::slice(0, static_cast<py::ssize_t>(*rows), 1)];
    if (kind == NumberColumn::Kind::kReals) cells = cells.attr("view")("float64");
    result.append(kind == NumberColumn::Kind::kOther ? py::none() : cells);
  }
  return result;
}

}  // namespace
}  // namespace kvr::python

PYBIND11_MODULE(_kvr, module) {
  namespace py = pybind11;
  using namespace kvr::python;

  py::register_exception<kvr::compare::Stopped>(module, "Stopped");
  py::class_<Stop>(module, "Stop").def(py::init<>()).def("set", &Stop::set);
  py::class_<Rules>(module, "Rules")
      .def(py::init<const py::dict&, const py::dict&, int, bool, double>(), py::arg("tolerance"),
           py::arg("sync"), py::arg("tolerance_source"), py::arg("whole_baseline"),
           py::arg("time_tolerance"));
  py::class_<Finding>(module, "Finding")
      .def_property_readonly(
          "status",
          [](const Finding& finding) { return kvr::compare::nameOf(finding.verdict.status); })
      .def("fields", &dictOf);
  module.def("judge_all", &judgeAll, py::arg("tasks"), py::arg("stop"));
  module.def("judge", &judge, py::arg("baseline"), py::arg("other"), py::arg("tolerance"),
             py::arg("sync"), py::arg("tolerance_call"), py::arg("sync_call"),
             py::arg("tolerance_source"), py::arg("whole_baseline"), py::arg("time_tolerance"),
             py::arg("dated"), py::arg("stop"), py::arg("wants_series"));
  module.def("date_text", &kvr::compare::dateText, py::arg("seconds"));
  module.def("describe_alone", &describeAlone, py::arg("missing"));
  defineRecordingClasses(module);
  defineThinned(module);
  module.def("read_numbers", &readNumbersOf, py::arg("text"), py::arg("columns"),
             py::arg("delimiter"), py::arg("decimal"));
}
