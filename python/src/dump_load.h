// Values as bytes: vormel.dumps and vormel.loads.
#pragma once

#include "python/src/python_api.h"

namespace vormel::python {

// The bytes of the host array that the value becomes. Fails as toHost, and with the host's failure
// for an array that a variable file cannot hold.
Ref dumpBytes(PyObject* value);

// The vormel.Array that the bytes are those of. Refuses what is not bytes-like; fails with the
// host's failure for bytes that dumpBytes never gives.
Ref loadBytes(PyObject* data);

}  // namespace vormel::python
