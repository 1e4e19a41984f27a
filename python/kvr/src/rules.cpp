#include "python/kvr/src/rules.h"

#include <cstdint>
#include <memory>

namespace kvr::python {

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

compare::Sync syncOf(const py::dict& given) {
  compare::Sync sync;
  sync.SyncMethod = given["SyncMethod"].cast<std::int32_t>();
  sync.InterpMethod = given["InterpMethod"].cast<std::int32_t>();
  sync.UniformTimeInterval = given["UniformTimeInterval"].cast<double>();
  sync.customSyncMethod = given["customSyncMethod"].cast<std::string>();
  sync.syncType = given["syncType"].cast<std::int32_t>();
  return sync;
}

Rules::Rules(const py::dict& tolerance, const py::dict& sync, int toleranceSource,
             bool wholeBaseline, double timeTolerance)
    : settings_{toleranceOf(tolerance), syncOf(sync), {}, {}},
      source_(static_cast<compare::Source>(toleranceSource)),
      coverage_(wholeBaseline ? compare::Coverage::kBaseline : compare::Coverage::kCommon),
      timeTolerance_(timeTolerance) {}

compare::Verdict Rules::judge(const compare::Series& baseline, const compare::Series& other,
                              const std::function<bool()>& stop) const {
  return compare::compare(baseline, other, settings_, {coverage_, timeTolerance_, stop});
}

std::string Rules::describe(const compare::Verdict& verdict, bool isDated) const {
  const auto clock = isDated ? compare::Clock::kDate : compare::Clock::kNumber;
  return compare::describe(verdict, settings_, source_, clock);
}

void defineRules(py::module_& module) {
  py::class_<Rules, std::shared_ptr<Rules>>(module, "Rules")
      .def(py::init<const py::dict&, const py::dict&, int, bool, double>(), py::arg("tolerance"),
           py::arg("sync"), py::arg("tolerance_source"), py::arg("whole_baseline"),
           py::arg("time_tolerance"));
}

}  // namespace kvr::python
