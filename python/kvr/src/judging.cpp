#include "python/kvr/src/judging.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "compare/compare.h"
#include "python/kvr/src/callbacks.h"
#include "python/kvr/src/interruption.h"
#include "python/kvr/src/rules.h"
#include "python/kvr/src/sides.h"
#include "python/kvr/src/verdicts.h"

namespace kvr::python {
namespace {

namespace py = pybind11;

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
  module.def("judge", &judge, py::arg("baseline"), py::arg("other"), py::arg("tolerance"),
             py::arg("sync"), py::arg("tolerance_call"), py::arg("sync_call"),
             py::arg("tolerance_source"), py::arg("whole_baseline"), py::arg("time_tolerance"),
             py::arg("dated"), py::arg("stop"), py::arg("wants_series"));
}

}  // namespace kvr::python
