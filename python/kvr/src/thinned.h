// The class Thinned of the extension: thinning/thinning.h over NumPy arrays.
#pragma once

#include <pybind11/pybind11.h>

namespace kvr::python {

// Objects of the class keep their arrays alive. Building and windows release the interpreter lock.
void defineThinned(pybind11::module_& module);

}  // namespace kvr::python
