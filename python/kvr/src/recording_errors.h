// The failures of recording files as Python exceptions.
#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace kvr::python {

// Called in a handler: throws the exception at hand as the Python one that names the file,
// kvr.FormatError or an OSError. Others pass as they are. Holds the interpreter lock.
[[noreturn]] void raiseAsPython(const std::string& path);

// Runs the body without the interpreter lock.
template <class Body>
auto onFile(const std::string& path, const Body& body) {
  try {
    const pybind11::gil_scoped_release others;
    return body();
  } catch (...) {
    raiseAsPython(path);
  }
}

}  // namespace kvr::python
