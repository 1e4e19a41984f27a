// Host library libhu: host memory.
#pragma once

#include <cstddef>

#include "kvrntob/host/export.h"

// A new block of `size` bytes, aligned for any type. Null when memory is exhausted.
VORMEL_HOST_API void* huMalloc(std::size_t size) noexcept;

// A new block of `count` times `size` bytes, all zero. Null when memory is exhausted or the product
// does not fit.
VORMEL_HOST_API void* huCalloc(std::size_t size, std::size_t count) noexcept;

// Gives back a block of huMalloc or huCalloc. Null is ignored.
VORMEL_HOST_API void huFree(void* pointer) noexcept;
