// Runs, signals and samples between Python and the library of recording files.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "recording/recording.h"

namespace kvr::python {

// From dictionaries with the names of the Python attributes; "tolerance" and "sync" are
// dictionaries of the fields of the settings, of a signal None for those of the run.
recording::Run runOf(const pybind11::dict& given);
recording::Signal signalOf(const pybind11::dict& given);

// The unit, the visibility and the settings alone, from such a dictionary.
void setSettings(recording::Signal& signal, const pybind11::dict& given);

// And back.
pybind11::dict dictOf(const recording::RunEntry& run);
pybind11::dict dictOf(const recording::SignalEntry& signal);

// The fields of the package's Facts in their order; quicker than all fields.
pybind11::tuple factsOf(const recording::SignalEntry& signal);

// A view of a C-contiguous array of numbers, with its first axis as the samples.
recording::Samples samplesOf(const pybind11::array& array);

// An array that the samples of these bytes fill; the first axis has `count` entries.
pybind11::array arrayFor(recording::ValueClass valueClass, std::uint64_t count,
                         const std::vector<std::uint64_t>& shape);

}  // namespace kvr::python
