// Which Python class stands for a host class, and which Python object for a host object: one each,
// so that two variables that name the same host object hold the same Python object.
#pragma once

#include "embedded_host/objects/records.h"
#include "python/src/base/host_value.h"

namespace vormel::python {

// An object of a host class, or of a Python class derived from one.
struct HostObject {
  HostValue value;
  PyObject* weakReferences;
};

// What makes the Python class of a host class (types/host_object.cpp). Set once, when the module is
// made.
void setClassMaker(Ref (*makeClass)(ClassRecord& cls));

// The Python class of a host class, made when it is first asked for.
Ref classFor(ClassRecord& cls);

// The host class behind a Python class, or behind the nearest of its bases that has one; null if
// none has. Runs no Python code, and never fails.
ClassRecord* hostClassOf(PyObject* type);

// The Python object of the host object that a handle names: the one that is alive, or a new one.
Ref hostObjectOf(const vrArray* handle);

// Makes `self` the Python object of the host object that the handle names. The handle leaves any
// array list.
void adopt(PyObject* self, OwnedArray handle);

// Takes an object that is about to go out of the books.
void forget(PyObject* self);

}  // namespace vormel::python
