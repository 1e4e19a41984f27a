// Arrays of numbers, truths or characters of a class that the caller names: from arrays of another
// of these classes, and from lists of lists.
#pragma once

#include <string>

#include "embedded_host/arrays/arrays.h"
#include "python/src/base/python_api.h"

namespace vormel::python {

// True for numeric, logical and character arrays.
bool hasElements(const vrArray* array);

// An array of zeros. Throws on exhausted memory.
OwnedArray zeros(std::size_t dimensionCount, const std::size_t* dimensions, int classID,
                 bool isComplex);

// The same elements in another class; `className` names it in refusals. Refuses what is out of the
// class's range, or not whole where whole numbers are asked for.
OwnedArray cast(const vrArray* array, int classID, const std::string& className);

// Throws CallRefused("NotConvertible"): `what` has no array of the class.
[[noreturn]] void refuseForClass(const std::string& what, const std::string& className);

// A tuple of numbers, or of one-character strs, as one row; one of lists, tuples or one-dimensional
// NumPy arrays, all of one length and to any depth, as an array of as many dimensions, the
// outermost list first. `className` names the class in refusals. Refuses unequal lengths, other
// items, and what cast() refuses.
OwnedArray arrayOfLists(PyObject* tuple, int classID, const std::string& className);

}  // namespace vormel::python
