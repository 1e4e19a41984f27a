// Results of a comparison as values of Python.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

#include "compare/compare.h"

namespace kvr::python {

// The fields under the names of the package's Verdict; the text is its description. `worst` is a
// tuple, intervals are a list of tuples; what there is none of is None.
pybind11::dict dictOf(const compare::Verdict& verdict, const std::string& text);

// Instants (n,), then (n, m) each: baseline, other, difference, tolerance and whether it is out.
pybind11::tuple tupleOf(const compare::Aligned& aligned);

}  // namespace kvr::python
