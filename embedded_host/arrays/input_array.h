// A host array that lives in a call's frame instead of in host memory: an input that the caller has
// made for one call. Bodies only borrow their inputs, so that nothing can keep it; what a body
// copies of it shares its storage as that of any array.
#pragma once

#include <cstddef>

#include "kvrntob/host/export.h"
#include "kvrntob/host/libvr.h"

namespace vormel {

class VORMEL_HOST_API InputArray {
 public:
  InputArray() noexcept {}  // NOLINT(modernize-use-equals-default): leaves the room as it is
  InputArray(const InputArray&) = delete;
  InputArray& operator=(const InputArray&) = delete;

  // A real numeric, logical or character array, whose elements the caller writes, all of them. It
  // counts as alive until end(). Throws on exhausted memory; there is no array then.
  vrArray* make(int classID, std::size_t rows, std::size_t columns);

  // Ends the array. To be called once for each array made.
  void end() noexcept;

 private:
  alignas(void*) std::byte head_[56];
};

}  // namespace vormel
