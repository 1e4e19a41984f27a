// The class Dravik.kvr.Map, and the native object behind each of its instances.
#pragma once

#include <memory>

#include "kvrntob/base/descriptor_memory.h"
#include "kvrntob/host/ntob.h"
#include "kvrntob/typedmap/abstract_wrapper.h"
#include "kvrntob/typedmap/memory_operations.h"

// The native object of one map: the owner of its typed map.
class DataMapWrapper : public MemoryOperationOverloads {
 public:
  // An instance is a map before its constructor has run: from characters to characters.
  DataMapWrapper();
  DataMapWrapper(const DataMapWrapper&) = delete;
  DataMapWrapper& operator=(const DataMapWrapper&) = delete;
  virtual ~DataMapWrapper();

  // Replaced by reset(), which puts the new one in its place before it ends the old one: what an
  // "any" map lets go may end other objects. Null only after a failed allocation.
  std::unique_ptr<AbstractVrWrapperDataMap> wrapper;
};

// Descriptor of the class. Created on the heap with its class-scope operator new, never copied.
class DataMapTOBClassInfo final : public kvr::ZeroedDescriptor<ntob::TOBClassInfo> {
 public:
  const char* getName() const override { return "Map"; }
  const char* getDescription() const override { return "Dravik KVR Map Container"; }
  const char* getDetailedDescription() const override { return "Dravik KVR Map Container"; }

  void loadMethods(ntob::TOBClass* cls) override;  // the 13 methods of map_methods.def

  // A new DataMapWrapper; null when host memory is exhausted.
  void* createNativeInstance() override;
  // Ends a DataMapWrapper. Null is ignored.
  void destroyNativeInstance(void* native) override;

  bool firstFlag() const override { return true; }
  bool firstNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondFlag() const override { return true; }
  bool thirdFlag() const override { return false; }
  bool fourthFlag() const override { return false; }
};
