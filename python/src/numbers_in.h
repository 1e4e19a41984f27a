// Numbers on their way into host arrays: one number, or the numbers of a list as one row.
#pragma once

#include "embedded_host/arrays/arrays.h"
#include "python/src/python_api.h"

namespace vormel::python {

// Ordered: the kind of a row follows from the kinds in it, see numberRow.
enum class NumberKind {
  None,
  Boolean,
  Integer,
  Real,
  Complex
};

// The kind of number that a Python object is, NumPy scalars of a supported dtype included.
NumberKind kindOfNumber(PyObject* value);

// A scalar array of a number that is no NumPy scalar.
OwnedArray numberScalar(PyObject* value);

// One row of a tuple of numbers, which may not be empty: logical if all are Boolean, an integer
// class if all are Integer, complex double if one is Complex, otherwise double.
OwnedArray numberRow(PyObject* tuple);

}  // namespace vormel::python
