// Python values as host arrays.
//
//   None, empty list or tuple       0-by-0 double
//   bool, int, float, complex       logical; int32, else int64, else uint64; double; complex double
//   str                             character row
//   list or tuple of numbers        one row: logical if all are bool, the narrowest of int32, int64
//                                   and uint64 if all are int, otherwise double. A bool among
//                                   numbers of another kind makes the row double.
//   list or tuple of dicts          1-by-n structure, if all have the keys of the first, whose
//                                   order counts
//   other list or tuple             1-by-n cell
//   dict with str keys              1-by-1 structure
//   NumPy array or scalar           the class of its dtype; in a list, a NumPy scalar counts as the
//                                   bool, int, float or complex that it stands for
//   Array, Object, host object      a copy that shares its storage
//   anything else with __array__    as the NumPy array that it gives
//
// Code of the caller's own may run in between: methods of subclasses and keys, finalizers. What it
// raises passes; what it changes is not seen, or seen whole.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/python_api.h"

namespace vormel::python {

// A new array. Throws CallRefused for what the table does not list, PythonErrorSet for a failure of
// Python itself (such as RecursionError) or of the caller's own code,
// ntob::TOBOutOfMemoryException.
OwnedArray toHost(PyObject* value);

// A new array of the named host class, such as "int8" or "cell". Numbers must fit the class: what
// is out of range, or not whole where whole numbers are asked for, is refused. Fails as toHost.
OwnedArray toHostOfClass(PyObject* value, const char* className);

// The same for a NumPy array, by its dtype alone (numpy_in.cpp). Dtypes without a class and masked
// elements are refused.
OwnedArray toHostFromNumpy(PyArrayObject* value);

// The array that __array__ of a value gives; null for a value without it, and for one that the
// table lists before it.
Ref arrayByProtocol(PyObject* value);

// A cell array of the shape of a NumPy array, its elements converted one by one (numpy_cells.cpp).
OwnedArray cellFromNumpy(PyArrayObject* value);

// A 1-by-n cell array of the items (containers_in.cpp).
OwnedArray cellRow(PyObject* tuple);

// The items of a list or tuple as a tuple, which stays as it is whatever Python code runs.
Ref snapshot(PyObject* sequence);

// List, tuple or dict as the table says (containers_in.cpp).
OwnedArray toHostFromSequence(PyObject* sequence);
OwnedArray toHostFromDict(PyObject* dict);

// An array of zeros. Throws on exhausted memory.
OwnedArray makeNumeric(std::size_t rows, std::size_t columns, int classID, bool isComplex = false);

}  // namespace vormel::python
