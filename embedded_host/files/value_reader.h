// Reading host arrays out of a variable file. Nothing that the file says is taken on trust.
#pragma once

#include <cstddef>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/hdf5_objects.h"

namespace vormel {

// The array that a variable holds. Throws FileFault if it is damaged, or claims more than a file of
// `fileSize` bytes can hold.
OwnedArray readVariable(const Hdf5Object& variable, std::size_t fileSize);

}  // namespace vormel
