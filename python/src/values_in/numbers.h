// What a Python value is to the host, and numbers as host arrays: one number, or a row of them.
#pragma once

#include <cstdint>

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// Conversions look at a value once and go by its kind from there. The first four are ordered: the
// kind of a row follows from the lowest and the highest kind in it. Subclasses count as their base.
enum class Kind {
  Boolean,
  Integer,
  Real,
  Complex,
  None,
  Text,         // str, and NumPy's str_
  Sequence,     // list, tuple
  Dict,         //
  HostValue,    // vormel.Array, vormel.Object, a host object
  NumpyNumber,  // a NumPy scalar whose type stands in the table of number_classes.h
  NumpyScalar,  // any other NumPy scalar
  NumpyArray,   //
  Other         // what may have __array__
};

// Runs no Python code, and never fails.
Kind kindOf(PyObject* value);

// ---- One number ----

// The element of a scalar array.
struct Scalar {
  int classID;
  std::size_t size;    // of the element, in bytes
  std::uint64_t bits;  // the element at the start, zero beyond
};

// Of a Boolean, Integer, Real or NumpyNumber. An Integer is an int32 if it fits, else an int64,
// else a uint64, else refused.
Scalar scalarOf(PyObject* value, Kind kind);

OwnedArray scalarArray(const Scalar& scalar);

// Of a Complex that is no NumPy scalar.
OwnedArray complexScalar(PyObject* value);

// ---- Rows ----

// What the items of a row have in common.
struct RowKinds {
  Kind lowest = Kind::Complex;
  Kind highest = Kind::Boolean;

  bool areNumbers() const { return highest <= Kind::Complex; }
};

// Of a tuple; a NumPy scalar counts as the number it stands for. Stops at the first item that is no
// number.
RowKinds kindsOf(PyObject* tuple);

// One row of a tuple of numbers, which may not be empty: logical if all are Boolean, an integer
// class if all are Integer, complex double if one is Complex, otherwise double.
OwnedArray numberRow(PyObject* tuple, RowKinds kinds);

// An array of zeros. Throws on exhausted memory.
OwnedArray makeNumeric(std::size_t rows, std::size_t columns, int classID, bool isComplex = false);

}  // namespace vormel::python
