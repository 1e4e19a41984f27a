// The Python types of the package, each made in the file of its name. Every function here is called
// once, while the module is made.
#pragma once

#include "embedded_host/objects/records.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// vormel.Array, any host array as it is.
void addArrayType(PyObject* module);

// vormel.Object, a value object with its properties as attributes.
void addObjectType(PyObject* module);

// vormel.Method, the type of what makeMethod makes.
void addMethodType(PyObject* module);

// vormel.HostObject, the base of all host classes. A host class has a Method for each of its
// registered methods, and the descriptor's detailed description as its docstring.
void addHostObjectType(PyObject* module);

// A callable over the record: a method descriptor that is called without going through a bound
// method. Its docstring and signature come from the record. May be called at any time.
Ref makeMethod(const MethodRecord& record);

}  // namespace vormel::python
