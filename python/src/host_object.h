// Host objects in Python: one Python class for each class that a module registered, made on first
// need from its descriptor, and one Python object for each host object, as long as it is alive.
#pragma once

#include "embedded_host/objects/records.h"
#include "python/src/python_api.h"

namespace vormel::python {

// Adds HostObject, the base of all host classes, to the module. Called once.
void addHostObjectType(PyObject* module);

// The Python class of a host class: its methods are Methods (method_type.h), its docstring is the
// descriptor's detailed description.
Ref classFor(ClassRecord& cls);

// The host class behind a Python class, or the nearest of its bases that has one; null if none.
// Runs no Python code, and never fails.
ClassRecord* hostClassOf(PyObject* type);

// The Python object of the host object that a handle names: the one that is alive, or a new one.
Ref hostObjectOf(const vrArray* handle);

}  // namespace vormel::python
