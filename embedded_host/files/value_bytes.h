// Host arrays as bytes in memory, as vormel.dumps returns them. docs/variable-files.md describes
// the format.
#pragma once

#include <cstddef>
#include <span>

#include "embedded_host/arrays/arrays.h"
#include "kvrntob/host/export.h"

namespace vormel {

// The number of bytes that dumpValue writes. Throws HostError("NotStorable") for an array that a
// variable file cannot hold, ntob::TOBOutOfMemoryException.
VORMEL_HOST_API std::size_t dumpedSize(const vrArray* array);

// Writes the array to `to`, which has room for dumpedSize(array) bytes. Equal arrays give equal
// bytes. The array must be one for which dumpedSize did not throw.
VORMEL_HOST_API void dumpValue(const vrArray* array, std::byte* to);

// Returns a new array equal to the one that was written, on the array list of the innermost call.
// Throws HostError("ValueBytes") for bytes that dumpValue cannot have written, then
// ntob::TOBOutOfMemoryException. Allocates at most a small multiple of the number of bytes.
VORMEL_HOST_API OwnedArray loadValue(std::span<const std::byte> bytes);

}  // namespace vormel
