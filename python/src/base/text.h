// Texts across the border: Python's str on one side, UTF-16 units on the other.
//
// A unit without its partner is kept as it is, in both directions.
#pragma once

#include <cstddef>
#include <string_view>

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// Makes the str ready and counts its units. Throws PythonErrorSet.
std::size_t unitCount(PyObject* text);

// Writes the units of a str that has been counted.
void writeUnits(PyObject* text, char16_t* units);

// A character row of the str; 0-by-0 for an empty one.
OwnedArray characterRow(PyObject* text);

// The units as a str. Throws PythonErrorSet.
Ref textFromUnits(const char16_t* units, std::size_t count);

// The characters as a str. Refuses what is no character of Unicode. Throws PythonErrorSet.
Ref textFromCodes(const Py_UCS4* codes, std::size_t count);

// The str as UTF-8, valid as long as the str. Refuses, as a thing called `what`, a str that holds a
// NUL or a lone surrogate. Throws PythonErrorSet, also for what is no str.
const char* plainUtf8(PyObject* text, const char* what);

// The same for a str that may hold a NUL.
std::string_view utf8(PyObject* text, const char* what);

// Clears the error that is set if it says that a str cannot be encoded. Throws PythonErrorSet for
// any other error.
void clearEncodingError();

}  // namespace vormel::python
