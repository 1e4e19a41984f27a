// Root of the map's native objects: they live in host memory.
#pragma once

#include <cstddef>

class MemoryOperationOverloads {
 public:
  // huMalloc: null when memory is exhausted, which makes a new expression null too.
  static void* operator new(std::size_t size) noexcept;
  // huFree.
  static void operator delete(void* pointer) noexcept;
};
