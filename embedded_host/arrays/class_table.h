// The classes of host arrays: number, name, bytes of an element.
#pragma once

#include <cstddef>
#include <string_view>

#include "kvrntob/host/export.h"

namespace vormel {

// Bytes of one element of a class with elements; 8 for all others.
std::size_t elementSize(int classID) noexcept;

// Empty for a class without a name of its own: opaque, value object, or no class at all.
VORMEL_HOST_API std::string_view nameOfClass(int classID) noexcept;

}  // namespace vormel
