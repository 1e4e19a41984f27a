#include "kvrntob/typedmap/memory_operations.h"

#include "kvrntob/host/libhu.h"

void* MemoryOperationOverloads::operator new(std::size_t size) noexcept { return huMalloc(size); }

void MemoryOperationOverloads::operator delete(void* pointer) noexcept { huFree(pointer); }
