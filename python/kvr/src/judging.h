// Judging one pair: the function judge of the extension, and what ends it early.
#pragma once

#include <pybind11/pybind11.h>

namespace kvr::python {

void defineJudging(pybind11::module_& module);

}  // namespace kvr::python
