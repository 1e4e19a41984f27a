// The functions of the extension module.
#pragma once

#include "python/src/python_api.h"

namespace vormel::python {

// The table of all, to its end; alive as long as the process.
PyMethodDef* moduleFunctions();

}  // namespace vormel::python
