// A signal of the store as a recording takes it.
#pragma once

#include <pybind11/pybind11.h>

#include <optional>

#include "python/kvr/src/store_record.h"
#include "recording/recording.h"

namespace kvr::python {

struct Recordable {
  recording::Signal signal;  // what the record tells: no unit, visibility or settings
  recording::Samples times, values;
  HeldSeries held;  // keeps the samples alive
};

// None unless factsIn() and seriesIn() take the record, its samples have no gaps, its texts are
// Unicode, and its colour and dash have their usual types. Needs the interpreter lock, and passes
// on the exceptions of Python.
std::optional<Recordable> recordableIn(const pybind11::dict& record,
                                       const pybind11::type& seriesType);

}  // namespace kvr::python
