// The class Dravik.kvr.Map.
#pragma once

#include "kvrntob/base/descriptor_memory.h"
#include "kvrntob/host/ntob.h"

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
