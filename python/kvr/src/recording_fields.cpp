#include "python/kvr/src/recording_fields.h"

#include <pybind11/stl.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>

#include "python/kvr/src/sample_memory.h"

namespace kvr::python {
namespace {

namespace py = pybind11;
using recording::Signal;
using recording::Sync;
using recording::Tolerance;
using recording::ValueClass;

constexpr std::array<std::pair<const char*, double Tolerance::*>, 9> toleranceNumbers{
    {{"absolute", &Tolerance::absolute},
     {"relative", &Tolerance::relative},
     {"start", &Tolerance::start},
     {"end", &Tolerance::end},
     {"step", &Tolerance::step},
     {"initial_absolute", &Tolerance::initialAbsolute},
     {"absolute_step", &Tolerance::absoluteStep},
     {"initial_relative", &Tolerance::initialRelative},
     {"relative_step", &Tolerance::relativeStep}}};

constexpr std::array<std::pair<const char*, std::string Signal::*>, 8> signalTexts{
    {{"label", &Signal::label},
     {"path", &Signal::path},
     {"model", &Signal::model},
     {"source", &Signal::source},
     {"root_source", &Signal::rootSource},
     {"time_source", &Signal::timeSource},
     {"sid", &Signal::sid},
     {"dash", &Signal::dash}}};

struct KindOfNumbers {
  ValueClass valueClass;
  char kind;  // of the dtype
  py::ssize_t size;
};

constexpr std::array<KindOfNumbers, 13> kinds{{{ValueClass::kLogical, 'b', 1},
                                               {ValueClass::kInt8, 'i', 1},
                                               {ValueClass::kUint8, 'u', 1},
                                               {ValueClass::kInt16, 'i', 2},
                                               {ValueClass::kUint16, 'u', 2},
                                               {ValueClass::kInt32, 'i', 4},
                                               {ValueClass::kUint32, 'u', 4},
                                               {ValueClass::kInt64, 'i', 8},
                                               {ValueClass::kUint64, 'u', 8},
                                               {ValueClass::kSingle, 'f', 4},
                                               {ValueClass::kDouble, 'f', 8},
                                               {ValueClass::kComplexSingle, 'c', 8},
                                               {ValueClass::kComplexDouble, 'c', 16}}};

Tolerance toleranceOf(const py::handle& given) {
  Tolerance tolerance;
  tolerance.type = given["type"].cast<std::int32_t>();
  for (const auto& [name, number] : toleranceNumbers)
    tolerance.*number = given[name].cast<double>();
  tolerance.function = given["function_name"].cast<std::string>();
  return tolerance;
}

Sync syncOf(const py::handle& given) {
  return {given["type"].cast<std::int32_t>(), given["method"].cast<std::string>(),
          given["interp"].cast<std::string>(), given["interval"].cast<double>(),
          given["function_name"].cast<std::string>()};
}

py::dict dictOf(const Tolerance& tolerance) {
  py::dict fields;
  fields["type"] = tolerance.type;
  for (const auto& [name, number] : toleranceNumbers) fields[name] = tolerance.*number;
  fields["function_name"] = tolerance.function;
  return fields;
}

py::dict dictOf(const Sync& sync) {
  py::dict fields;
  fields["method"] = sync.method;
  fields["interp"] = sync.interp;
  fields["interval"] = sync.interval;
  fields["function_name"] = sync.function;
  fields["type"] = sync.type;
  return fields;
}

}  // namespace

recording::Run runOf(const py::dict& given) {
  recording::Run run;
  run.name = given["name"].cast<std::string>();
  run.version = given["version"].cast<std::string>();
  run.created = given["created"].cast<std::int64_t>();
  run.instance = given["instance"].cast<std::optional<std::int32_t>>();
  run.tolerance = toleranceOf(given["tolerance"]);
  run.sync = syncOf(given["sync"]);
  return run;
}

void setSettings(Signal& signal, const py::dict& given) {
  signal.unit = given["unit"].cast<std::optional<std::string>>();
  signal.visible = given["visible"].cast<bool>();
  const py::object tolerance = given["tolerance"];
  const py::object sync = given["sync"];
  if (!tolerance.is_none()) signal.tolerance = toleranceOf(tolerance);
  if (!sync.is_none()) signal.sync = syncOf(sync);
}

Signal signalOf(const py::dict& given) {
  Signal signal;
  for (const auto& [name, text] : signalTexts) signal.*text = given[name].cast<std::string>();
  signal.port = given["port"].cast<std::int32_t>();
  signal.channel = given["channel"].cast<std::vector<std::int32_t>>();
  signal.color = given["color"].cast<std::array<double, 3>>();
  setSettings(signal, given);
  return signal;
}

py::dict dictOf(const recording::RunEntry& run) {
  py::dict fields;
  fields["name"] = run.name;
  fields["version"] = run.version;
  fields["created"] = run.created;
  fields["instance"] = run.instance;
  fields["tolerance"] = dictOf(run.tolerance);
  fields["sync"] = dictOf(run.sync);
  fields["first_signal"] = run.firstSignal;
  fields["signals"] = run.signals;
  return fields;
}

py::dict dictOf(const recording::SignalEntry& signal) {
  py::dict fields;
  for (const auto& [name, text] : signalTexts) fields[name] = signal.*text;
  fields["unit"] = signal.unit;
  fields["port"] = signal.port;
  fields["channel"] = py::tuple(py::cast(signal.channel));
  fields["color"] = py::make_tuple(signal.color[0], signal.color[1], signal.color[2]);
  fields["visible"] = signal.visible;
  fields["tolerance"] = signal.tolerance ? py::object(dictOf(*signal.tolerance)) : py::none();
  fields["sync"] = signal.sync ? py::object(dictOf(*signal.sync)) : py::none();
  fields["class"] = recording::nameOf(signal.valueClass);
  fields["samples"] = signal.samples;
  fields["shape"] = py::tuple(py::cast(signal.shape));
  return fields;
}

py::tuple factsOf(const recording::SignalEntry& signal) {
  return py::make_tuple(signal.run, signal.label, signal.path, signal.model, signal.source,
                        signal.rootSource, signal.timeSource, signal.port,
                        py::tuple(py::cast(signal.channel)), signal.sid);
}

recording::Samples samplesOf(const py::array& array) {
  recording::Samples samples;
  const auto isKind = [&](const KindOfNumbers& known) {
    return known.kind == array.dtype().kind() && known.size == array.itemsize();
  };
  const auto* const found = std::find_if(kinds.begin(), kinds.end(), isKind);
  const bool isPlain = (array.flags() & py::array::c_style) != 0 && array.ndim() >= 1;
  if (found == kinds.end() || !isPlain || array.dtype().byteorder() == '>')
    throw std::invalid_argument("no numbers that a recording holds");
  samples.valueClass = found->valueClass;
  samples.count = static_cast<std::uint64_t>(array.shape(0));
  for (py::ssize_t i = 1; i < array.ndim(); ++i)
    samples.shape.push_back(static_cast<std::uint64_t>(array.shape(i)));
  samples.bytes = {static_cast<const std::byte*>(array.data()),
                   static_cast<std::size_t>(array.nbytes())};
  return samples;
}

py::array arrayFor(ValueClass valueClass, std::uint64_t count,
                   const std::vector<std::uint64_t>& shape) {
  // Made once, for NumPy parses their names; never freed, as its own types.
  static const auto& types = *new auto([] {
    std::array<py::dtype, kinds.size()> made;
    for (std::size_t i = 0; i < kinds.size(); ++i)
      made[i] = py::dtype(std::string(1, kinds[i].kind) + std::to_string(kinds[i].size));
    return made;
  }());
  std::vector<py::ssize_t> extents{static_cast<py::ssize_t>(count)};
  for (const std::uint64_t extent : shape) extents.push_back(static_cast<py::ssize_t>(extent));
  return uninitializedArray(types.at(static_cast<std::size_t>(valueClass)), extents);
}

}  // namespace kvr::python
