// The base of the repository's method descriptors.
#pragma once

#include <initializer_list>
#include <memory>

#include "kvrntob/host/ntob.h"

namespace kvr {

class KVRTOBMethodInfo : public ntob::TOBMethodInfo {
 public:
  // Zeroed host memory. Throws TOBOutOfMemoryException when it is exhausted.
  static void* operator new(std::size_t size);
  static void operator delete(void* pointer) noexcept;

  const char* getName() const override { return name.characters(); }
  const ntob::TOBMethodSignature* getSignature() const override { return signature.get(); }

 protected:
  using TypeNames = std::initializer_list<const char*>;

  explicit KVRTOBMethodInfo(const char* hostName) : name(hostName) {}

  // Makes the signature from the types in order; an empty name stands for none.
  void declare(TypeNames inputs, TypeNames outputs);

 private:
  ntob::TOBString name;
  std::unique_ptr<ntob::TOBMethodSignature> signature;
};

}  // namespace kvr
