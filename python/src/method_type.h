// The methods of host classes as Python objects.
#pragma once

#include "embedded_host/objects/records.h"
#include "python/src/python_api.h"

namespace vormel::python {

// Makes the type. Called once.
void addMethodType(PyObject* module);

// A callable over the record: a method descriptor that is called without going through a bound
// method. Its docstring and signature come from the record.
Ref makeMethod(const MethodRecord& record);

}  // namespace vormel::python
