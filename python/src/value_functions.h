// Functions of the extension module that make values: vormel.array, vormel.timeseries and others,
// vormel.dumps and vormel.loads.
#pragma once

#include "python/src/base/python_api.h"

namespace vormel::python {

// A vormel.Array of the value; of the class that is named, or of the value's own for None. Fails as
// toHost and toHostOfClass.
Ref makeArray(PyObject* value, PyObject* className);

// A vormel.Object of the class, its properties the items of a dict with str keys, in order. Refuses
// names that hold a NUL or a lone surrogate.
Ref makeValueObject(PyObject* className, PyObject* dict);

// The bytes of the host array that the value becomes. Fails as toHost, and with the host's failure
// for an array that a variable file cannot hold.
Ref dumpBytes(PyObject* value);

// The vormel.Array that the bytes are those of. Refuses what is not bytes-like; fails with the
// host's failure for bytes that dumpBytes never gives.
Ref loadBytes(PyObject* data);

}  // namespace vormel::python
