// Python strings for the names that the host gives: fields, properties, methods, types.
#pragma once

#include <string>

#include "python/src/python_api.h"

namespace vormel::python {

// The str of a UTF-8 name; equal names give one object, for as long as the process lives, up to a
// bound on how many are kept. Throws PythonErrorSet.
Ref nameFor(const std::string& name);

}  // namespace vormel::python
