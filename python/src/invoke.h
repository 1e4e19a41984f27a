// Calls as descriptors see them: every cell as the body left it.
#pragma once

#include <string>

#include "python/src/python_api.h"

namespace vormel::python {

// Calls the first method of the name on `target`, a host object, or a host class for calls without
// one. Returns the output count as the body left it, and a list of the cells: an Array, an int, a
// bool, or None for a cell that was not written. Throws PythonErrorSet.
pybind11::tuple invoke(const pybind11::object& target, const std::string& name,
                       const pybind11::tuple& arguments, const pybind11::object& nargout);

}  // namespace vormel::python
