// Writing host arrays as bytes.
#pragma once

#include <cstddef>

#include "kvrntob/host/libvr.h"

namespace vormel {

// Receives the bytes of a value in order. All elements of an array arrive in one call, directly
// from the storage of the array.
class ByteSink {
 public:
  virtual void write(const void* bytes, std::size_t size) = 0;

 protected:
  ~ByteSink() = default;
};

// The number of bytes that writeValue writes. Throws FileFault for an array that cannot be stored:
// one that contains an opaque array, is nested too deeply or has too many dimensions, has a logical
// element other than 0 and 1, or has a name that is too long, contains a NUL or occurs twice. Any
// other array can be written.
std::size_t measureValue(const vrArray* array);

// Writes an array for which measureValue did not throw. Throws what the sink throws.
void writeValue(const vrArray* array, ByteSink& sink);

}  // namespace vormel
