// The classes RecordingReader and RecordingWriter of the extension, and the function
// verify_recording.
#pragma once

#include <pybind11/pybind11.h>

namespace kvr::python {

void defineRecordingClasses(pybind11::module_& module);

}  // namespace kvr::python
