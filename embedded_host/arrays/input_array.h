// An input array that is made for one call and lives in the call's frame, without an allocation for
// its header. A body only borrows its inputs, so that nothing outlives the frame; a copy of the
// array shares the element storage as usual.
#pragma once

#include <cstddef>

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

class VORMEL_HOST_API InputArray {
 public:
  InputArray() noexcept {}  // NOLINT(modernize-use-equals-default): does not write to head_
  InputArray(const InputArray&) = delete;
  InputArray& operator=(const InputArray&) = delete;

  // A real numeric, logical or character array, whose elements the caller writes, all of them. It
  // counts as alive until end(). Throws on exhausted memory; no array exists then.
  vrArray* make(int classID, std::size_t rows, std::size_t columns);

  // Ends the array. To be called once for each array made.
  void end() noexcept;

 private:
  alignas(void*) std::byte head_[56];
};

}  // namespace vormel
