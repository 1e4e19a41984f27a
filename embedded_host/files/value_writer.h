// Writing host arrays as bytes.
#pragma once

#include <cstddef>

#include "kvrntob/host/libvr.h"

namespace vormel {

// Takes the bytes of a value, piece by piece in their order. Elements of an array come in one call,
// straight from the array's storage.
class ByteSink {
 public:
  virtual void write(const void* bytes, std::size_t size) = 0;

 protected:
  ~ByteSink() = default;
};

// The number of bytes that writeValue gives. Throws FileFault for an array that cannot be kept: one
// with an opaque array in it, one nested too deep, one with too many dimensions, one with a truth
// value that is neither 0 nor 1, or one with a name that is too long, holds a NUL or stands twice.
// Any other array can be written.
std::size_t measureValue(const vrArray* array);

// Writes an array that measureValue has passed. Throws what the sink throws.
void writeValue(const vrArray* array, ByteSink& sink);

}  // namespace vormel
