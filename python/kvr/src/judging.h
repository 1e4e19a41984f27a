// Judging pairs, one by one or in batches: the functions judge and judge_all of the extension, and
// the classes that they take and return.
#pragma once

#include <pybind11/pybind11.h>

namespace kvr::python {

void defineJudging(pybind11::module_& module);

}  // namespace kvr::python
