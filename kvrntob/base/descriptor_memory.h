// The memory of class descriptors and of the repository's method descriptors: zeroed host memory
// that the module asks for itself. Exhausted memory is thrown here, where packages and the map's
// methods pass a null descriptor on; the two schemes are kept apart deliberately.
#pragma once

#include <cstddef>

#include "kvrntob/host/libhu.h"
#include "kvrntob/host/ntob.h"

namespace kvr {

// `Info` is ntob::TOBClassInfo or ntob::TOBMethodInfo.
template <class Info>
class ZeroedDescriptor : public Info {
 public:
  // Throws TOBOutOfMemoryException when host memory is exhausted.
  static void* operator new(std::size_t size) {
    void* memory = huCalloc(size, 1);
    if (memory == nullptr) throw ntob::TOBOutOfMemoryException();
    return memory;
  }
  static void operator delete(void* pointer) noexcept { huFree(pointer); }
};

}  // namespace kvr
