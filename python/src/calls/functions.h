// Host functions that are Python callables.
#pragma once

#include <string>

#include "python/src/base/python_api.h"

namespace vormel::python {

// The name that `argument` holds, if the host calls a function of that name; else raises a KeyError
// that lists those it calls.
std::string functionNamed(PyObject* argument);

// Makes the callable, without arguments, the host function of the name.
void setFunction(const std::string& name, PyObject* callable);

// The callable set for the name, or null if the host's own is in place.
Ref functionSetFor(const std::string& name);

// Puts the host's own back.
void resetFunction(const std::string& name);

// Calls the function that the host has of its own, as a call: refused while another thread is
// inside one.
Ref callOwnFunction(const std::string& name);

}  // namespace vormel::python
