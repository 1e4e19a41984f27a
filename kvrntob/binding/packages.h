// The module's packages and the class SignalRepository, as the host pulls them. Descriptors belong
// to the host once they are registered.
#pragma once

#include "kvrntob/base/descriptor_memory.h"
#include "kvrntob/host/ntob.h"

// Package "Dravik": holds "kvr".
class DRAVIKNTOBPackageInfo final : public ntob::TOBPackageInfo {
 public:
  const char* getName() const override { return "Dravik"; }
  void loadPackageContents(ntob::TOBPackage* contents) override;
};

// Package "Dravik.kvr": holds the classes SignalRepository and Map.
class KVRNTOBPackageInfo final : public ntob::TOBPackageInfo {
 public:
  const char* getName() const override { return "kvr"; }
  // Throws TOBOutOfMemoryException; a class added by then stays.
  void loadPackageContents(ntob::TOBPackage* contents) override;
};

namespace kvr {

// Class "Dravik.kvr.SignalRepository". Every instance reaches the one store of the process.
class SignalRepositoryTOBClassInfo final : public ZeroedDescriptor<ntob::TOBClassInfo> {
 public:
  const char* getName() const override { return "SignalRepository"; }
  // The two differ in the case of a letter, and stay so.
  const char* getDescription() const override { return "Dravik KVR Data container"; }
  const char* getDetailedDescription() const override { return "Dravik KVR Data Container"; }
  void loadMethods(ntob::TOBClass* cls) override;
  void* createNativeInstance() override;
  void destroyNativeInstance(void* native) override;  // nothing: the store outlives its handles
  bool firstFlag() const override { return true; }
  bool firstNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondNameQuery(ntob::TOBNameID) const override { return false; }
  bool secondFlag() const override { return true; }
  bool thirdFlag() const override { return false; }
  bool fourthFlag() const override { return false; }
};

}  // namespace kvr
