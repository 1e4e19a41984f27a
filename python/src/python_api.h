// The C interfaces of Python and NumPy, as every file of the package includes them.
#pragma once

#define PY_SSIZE_T_CLEAN
#include <pybind11/pybind11.h>

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL vormel_numpy_api
#ifndef VORMEL_IMPORTS_NUMPY  // one file alone, module.cpp, imports NumPy's functions
#define NO_IMPORT_ARRAY
#endif
#include <numpy/arrayobject.h>
#include <numpy/arrayscalars.h>

namespace vormel::python {

// An owned reference. May be null.
using Ref = pybind11::object;

inline Ref steal(PyObject* object) { return pybind11::reinterpret_steal<Ref>(object); }
inline Ref borrow(PyObject* object) { return pybind11::reinterpret_borrow<Ref>(object); }

// Thrown while a Python error is set, to carry it through C++ to where Python called.
struct PythonErrorSet {};

// Throws PythonErrorSet for a call of Python or NumPy that failed. NumPy has places that set no
// error where memory runs out.
[[noreturn]] inline void passError() {
  if (PyErr_Occurred() == nullptr) PyErr_NoMemory();
  throw PythonErrorSet();
}

// Takes a new reference from Python; throws PythonErrorSet if it is null.
inline Ref checked(PyObject* object) {
  if (object == nullptr) passError();
  return steal(object);
}

// The same for operations that report failure with -1.
inline void checked(int status) {
  if (status < 0) passError();
}

}  // namespace vormel::python
