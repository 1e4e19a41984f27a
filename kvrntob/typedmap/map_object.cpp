#include "kvrntob/typedmap/map_object.h"

#include <cstdint>
#include <string>

#include "kvrntob/base/failure.h"
#include "kvrntob/host/libhu.h"
#include "kvrntob/host/libvr.h"

void* MemoryOperationOverloads::operator new(std::size_t size) noexcept { return huMalloc(size); }

void MemoryOperationOverloads::operator delete(void* pointer) noexcept { huFree(pointer); }

AbstractVrWrapperDataMap* makeWrapperForKeyClass(int keyClass, int valueClass) {
  switch (keyClass) {
#define KEY(hostClass, typeName, Native) \
  case hostClass:                        \
    return makeWrapperForValueClass<Native>(valueClass, typeName);
#include "kvrntob/typedmap/wrapper_types.def"
  }
  kvr::raiseFromMessage(KVR::kvr::UNSUPPORTED_KEY());
}

DataMapWrapper::DataMapWrapper() : wrapper(makeWrapperForKeyClass(vrCHAR_CLASS, vrCHAR_CLASS)) {}

DataMapWrapper::~DataMapWrapper() { wrapper.reset(); }
