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
#include "python/src/base/python_api.h"
#include "python/src/values_in/numbers.h"

namespace vormel::python {

// A new array. Throws CallRefused for what the table does not list, PythonErrorSet for a failure of
// Python itself (such as RecursionError) or of the caller's own code,
// ntob::TOBOutOfMemoryException. `kind` is kindOf(value).
OwnedArray toHost(PyObject* value, Kind kind);
inline OwnedArray toHost(PyObject* value) { return toHost(value, kindOf(value)); }

// The array that __array__ of a value of the kind Other gives; null for a value without it. Refuses
// what is no NumPy array.
Ref arrayByProtocol(PyObject* value);

// A 1-by-n cell array of the items, each converted by toHost.
OwnedArray cellRow(PyObject* tuple);

}  // namespace vormel::python
