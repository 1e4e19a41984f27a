// Refusals of Python values that have no host array. Each says what to pass instead, where that is
// known, and throws CallRefused("NotConvertible").
#pragma once

#include "python/src/base/python_api.h"

namespace vormel::python {

// A value of a Python class that the host has nothing for.
[[noreturn]] void refuseValue(PyObject* value);

// A NumPy array whose dtype has no host class.
[[noreturn]] void refuseDtype(PyArrayObject* array);

// Refuses a masked array that has masked elements; returns for every other array. May run code of a
// subclass, so that nothing read from the array before holds any longer.
void refuseMasked(PyArrayObject* array);

// Refuses dates, times and masked elements, Python's own and NumPy's; returns for anything else.
// For items that are refused in any case: these have hints of their own.
void refuseHinted(PyObject* item);

}  // namespace vormel::python
