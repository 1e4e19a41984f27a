#include "python/kvr/src/judging.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "compare/compare.h"
#include "python/kvr/src/callbacks.h"
#include "python/kvr/src/interruption.h"
#include "python/kvr/src/sides.h"
#include "python/kvr/src/signal_records.h"
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
  compare::Verdict judge(const compare::Series& baseline, const compare::Series& other,
                         Interruption& interruption) const {
    const compare::Options options{coverage_, timeTolerance_,
                                   [&interruption] { return interruption.check(); }};
    return compare::compare(baseline, other, settings_, options);
  }

  std::string describe(const compare::Verdict& verdict, bool isDated) const {
    const auto clock = isDated ? compare::Clock::kDate : compare::Clock::kNumber;
    return compare::describe(verdict, settings_, source_, clock);
  }

 private:
  compare::Settings settings_;
  compare::Source source_;
  compare::Coverage coverage_;
  double timeTolerance_;
};

// The verdict on a pair. Its description and its fields are made when they are asked for.
class Finding {
 public:
  Finding(compare::Verdict verdict, std::shared_ptr<const Rules> rules, bool isDated)
      : verdict_(std::move(verdict)), rules_(std::move(rules)), isDated_(isDated) {}

  const char* status() const { return compare::nameOf(verdict_.status); }
  py::dict fields() const { return dictOf(verdict_, rules_->describe(verdict_, isDated_)); }

 private:
  compare::Verdict verdict_;
  std::shared_ptr<const Rules> rules_;
  bool isDated_;
};

// Pairs that are judged one after the other, and what they point to.
class Batch {
 public:
  // Where the sides come from that are given as places.
  Batch(const SignalRecords* baseline, const SignalRecords* other)
      : baseline_(baseline), other_(other) {}

  void add(const py::tuple& task) {
    const compare::Series was = seriesOf(task[0], baseline_);
    const compare::Series is = seriesOf(task[1], other_);
    pairs_.push_back({was, is, task[2].cast<std::shared_ptr<Rules>>(), task[3].cast<bool>()});
  }

  // Needs no interpreter lock. Throws Stopped if `interruption` asks for it.
  std::vector<Finding> judge(Interruption& interruption) const {
    std::vector<Finding> findings;
    findings.reserve(pairs_.size());
    for (const Pair& pair : pairs_)
      findings.emplace_back(pair.rules->judge(pair.baseline, pair.other, interruption), pair.rules,
                            pair.isDated);
    return findings;
  }

 private:
  struct Pair {
    compare::Series baseline, other;
    std::shared_ptr<const Rules> rules;
    bool isDated;
  };

  compare::Series seriesOf(const py::object& given, const SignalRecords* records) {
    if (PyLong_CheckExact(given.ptr())) {
      if (records == nullptr) throw py::type_error("a place, and no records that it is in");
      const HeldSeries& held = records->series(given.cast<std::size_t>());
      // The records may let go of them meanwhile.
      arrays_.push_back(held.times);
      arrays_.push_back(held.values);
      return held.series;
    }
    return sides_.emplace_back(given.cast<py::tuple>()).series();
  }

  const SignalRecords* baseline_;
  const SignalRecords* other_;
  std::vector<Pair> pairs_;
  std::deque<Side> sides_;
  std::vector<py::object> arrays_;
};

// Judges pairs one after the other with the interpreter lock released once. Each task is a tuple of
// both sides, their Rules and whether their times are dates; a side is a Side of the package or its
// place in the records. Returns a Finding for each.
py::list judgeAll(const py::list& tasks, const SignalRecords* baseline, const SignalRecords* other,
                  const Stop& stop) {
  Batch batch(baseline, other);
  for (const py::handle task : tasks) batch.add(task.cast<py::tuple>());
  Interruption interruption(stop);
  std::vector<Finding> findings;
  try {
    const py::gil_scoped_release others;
    findings = batch.judge(interruption);
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
  const py::dict fields = dictOf(verdict, compare::describe(verdict, settings, source, clock));
  if (!wantsSeries) return py::make_tuple(fields, py::none());
  return py::make_tuple(fields, tupleOf(aligned));
}

}  // namespace

void defineJudging(py::module_& module) {
  py::register_exception<compare::Stopped>(module, "Stopped");
  py::class_<Stop>(module, "Stop").def(py::init<>()).def("set", &Stop::set);
  py::class_<Rules, std::shared_ptr<Rules>>(module, "Rules")
      .def(py::init<const py::dict&, const py::dict&, int, bool, double>(), py::arg("tolerance"),
           py::arg("sync"), py::arg("tolerance_source"), py::arg("whole_baseline"),
           py::arg("time_tolerance"));
  py::class_<Finding>(module, "Finding")
      .def_property_readonly("status", &Finding::status)
      .def("fields", &Finding::fields);
  module.def("judge_all", &judgeAll, py::arg("tasks"), py::arg("baseline").none(true),
             py::arg("other").none(true), py::arg("stop"));
  module.def("judge", &judge, py::arg("baseline"), py::arg("other"), py::arg("tolerance"),
             py::arg("sync"), py::arg("tolerance_call"), py::arg("sync_call"),
             py::arg("tolerance_source"), py::arg("whole_baseline"), py::arg("time_tolerance"),
             py::arg("dated"), py::arg("stop"), py::arg("wants_series"));
}

}  // namespace kvr::python
