// Host arrays of numbers, truths and characters as arrays of another of these classes.
#pragma once

#include <string>

#include "embedded_host/arrays/arrays.h"

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

}  // namespace vormel::python
