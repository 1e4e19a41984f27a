// Functions of Python as those that a comparison calls.
#pragma once

#include <pybind11/pybind11.h>

#include "compare/compare.h"
#include "python/kvr/src/interruption.h"

namespace kvr::python {

// Both take the interpreter lock while they run. `function` and `interruption` must outlive them.
// None gives an empty function. What `function` raises fails the comparison with its text;
// KeyboardInterrupt and its like are kept in `interruption` and stop it.

// `function` gets both times and returns the instants: a contiguous vector of doubles.
compare::SyncFunction syncFunction(const pybind11::object& function, Interruption& interruption);

// `function` gets the instants and both values, (n, m); it returns a contiguous array of doubles.
compare::ToleranceFunction toleranceFunction(const pybind11::object& function,
                                             Interruption& interruption);

}  // namespace kvr::python
