// vormel.Array and vormel.Object.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/python_api.h"

namespace vormel::python {

// Adds both types to the module. Called once.
void addArrayTypes(PyObject* module);

Ref wrapArray(OwnedArray array);

// The value must be a value object of one element.
Ref wrapObject(OwnedArray array);

}  // namespace vormel::python
