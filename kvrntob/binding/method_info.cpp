#include "kvrntob/binding/method_info.h"

#include "kvrntob/host/libhu.h"

namespace kvr {

void* KVRTOBMethodInfo::operator new(std::size_t size) {
  void* memory = huCalloc(size, 1);
  if (memory == nullptr) throw ntob::TOBOutOfMemoryException();
  return memory;
}

void KVRTOBMethodInfo::operator delete(void* pointer) noexcept { huFree(pointer); }

void KVRTOBMethodInfo::declare(TypeNames inputs, TypeNames outputs) {
  std::unique_ptr<ntob::TOBMethodSignature> made(ntob::TOBMethodSignature::createMethodSignature());
  for (const char* type : inputs)
    if (*type != '\0') made->addInput(ntob::TOBNameID(type));
  for (const char* type : outputs)
    if (*type != '\0') made->addOutput(ntob::TOBNameID(type));
  signature = std::move(made);
}

}  // namespace kvr
