#include <cstdlib>

#include "kvrntob/host/libhu.h"

void* huMalloc(std::size_t size) noexcept { return std::malloc(size); }

void* huCalloc(std::size_t size, std::size_t count) noexcept { return std::calloc(count, size); }

void huFree(void* pointer) noexcept { std::free(pointer); }
