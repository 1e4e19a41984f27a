#include "python/kvr/src/recording_errors.h"

#include <cerrno>

#include "recording/recording.h"

namespace kvr::python {
namespace {

namespace py = pybind11;

// Raises a Python exception of the class with these arguments. What the class makes of them can be
// of a class below it: an OSError of ENOENT is a FileNotFoundError.
template <class... Arguments>
[[noreturn]] void raise(const py::object& raised, const Arguments&... arguments) {
  const py::object error = raised(arguments...);
  PyErr_SetObject(py::type::of(error).ptr(), error.ptr());
  throw py::error_already_set();
}

}  // namespace

void raiseAsPython(const std::string& path) {
  try {
    throw;
  } catch (const recording::FormatError& error) {
    raise(py::module_::import("kvr._base.errors").attr("FormatError"), path, error.what(),
          error.where());
  } catch (const recording::Busy& error) {
    raise(py::reinterpret_borrow<py::object>(PyExc_BlockingIOError), EAGAIN,
          std::string(error.what()) + "; try again when it is done", path);
  } catch (const recording::SystemError& error) {
    raise(py::reinterpret_borrow<py::object>(PyExc_OSError), error.code().value(),
          error.code().message(), path);
  }
}

}  // namespace kvr::python
