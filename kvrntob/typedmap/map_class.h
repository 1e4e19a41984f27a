// The class Dravik.kvr.Map, and the native object behind each of its instances.
#pragma once

#include <memory>

#include "kvrntob/base/descriptor_memory.h"
#include "kvrntob/host/ntob.h"
#include "kvrntob/typedmap/abstract_wrapper.h"

// The native object of one map: the owner of its typed map.
class DataMapWrapper : public MemoryOperationOverloads {
 public:
  // Until its constructor has run, an instance is a map from characters to characters.
  DataMapWrapper();
  DataMapWrapper(const DataMapWrapper&) = delete;
  DataMapWrapper& operator=(const DataMapWrapper&) = delete;
  virtual ~DataMapWrapper();

  // Replace it with reset(), which stores the new map before it destroys the old one: the arrays
  // that an "any" map releases may run destructors that use this object. Null only after a failed
  // allocation.
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
  // Deletes a DataMapWrapper. Null is ignored.
  void destroyNativeInstance(void* native) override;

  bool firstFlag() const override { return true; }
  bool firstNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondFlag() const override { return true; }
  bool thirdFlag() const override { return false; }
  bool fourthFlag() const override { return false; }
};
