// A record of the store, as its getSignal returns it: who a signal is, and its samples where these
// are plain vectors of numbers.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <optional>

#include "compare/compare.h"

namespace kvr::python {

// The fields of the package's Facts, in their order.
struct Facts {
  static constexpr std::array names{"run",         "label",       "path", "model",   "source",
                                    "root_source", "time_source", "port", "channel", "sid"};
  std::array<pybind11::object, names.size()> values;
};

// The samples of a record; the arrays keep alive what it points to.
struct HeldSeries {
  compare::Series series;
  pybind11::object times, values;
};

// None unless names and numbers have their usual types. Both need the interpreter lock, and pass on
// the exceptions of Python.
std::optional<Facts> factsIn(const pybind11::dict& record);

// None unless times and values are vectors of equally many native numbers, which are not empty.
// `seriesType` is that of the values whose attributes Time and Data are arrays.
std::optional<HeldSeries> seriesIn(const pybind11::dict& record, const pybind11::type& seriesType);

// A text that dictionaries find by its address; never freed.
PyObject* interned(const char* text);

// A value of the record, or a null object.
pybind11::object valueIn(const pybind11::dict& record, PyObject* key);

}  // namespace kvr::python
