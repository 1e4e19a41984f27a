#pragma once

// Memory for arrays of samples, used again by the next array of about the same size. Where the C
// library gives freed memory back to the system at once, as it is told to in workers of Dask,
// reading one signal after another takes three times as long otherwise: the system maps each page
// anew.

#include <pybind11/numpy.h>

#include <vector>

namespace kvr::python {

// A C-contiguous, writable array whose elements have no defined value yet. Call with the
// interpreter's lock held. At most eight freed blocks are kept, of 32 MiB together. Throws
// std::bad_alloc, and py::error_already_set for more bytes than an array can have.
pybind11::array uninitializedArray(const pybind11::dtype& type,
                                   const std::vector<pybind11::ssize_t>& shape);

}  // namespace kvr::python
