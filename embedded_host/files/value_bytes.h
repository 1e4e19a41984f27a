// Host arrays as bytes outside of any file: those of vormel.dumps. docs/variable-files.md describes
// the form.
#pragma once

#include <cstddef>
#include <span>

#include "embedded_host/arrays/arrays.h"
#include "kvrntob/host/export.h"

namespace vormel {

// The number of bytes that dumpValue writes. Throws HostError("NotStorable") for an array that a
// variable file cannot hold, ntob::TOBOutOfMemoryException.
VORMEL_HOST_API std::size_t dumpedSize(const vrArray* array);

// Writes the array as bytes to a place that has room for dumpedSize(array). Equal arrays give equal
// bytes. To be called with an array that dumpedSize has passed.
VORMEL_HOST_API void dumpValue(const vrArray* array, std::byte* to);

// A new array, equal to the one whose bytes these are, the caller's and on the call's array list.
// Throws HostError("ValueBytes") for bytes that dumpValue never writes, then
// ntob::TOBOutOfMemoryException. What is allocated stays below a small multiple of their number.
VORMEL_HOST_API OwnedArray loadValue(std::span<const std::byte> bytes);

}  // namespace vormel
