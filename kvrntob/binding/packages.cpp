#include "kvrntob/binding/packages.h"

#include "kvrntob/binding/methods.h"
#include "kvrntob/store/signal_repository.h"
#include "kvrntob/typedmap/map_class.h"

void DRAVIKNTOBPackageInfo::loadPackageContents(ntob::TOBPackage* contents) {
  contents->addSubPackage(new KVRNTOBPackageInfo);  // null when memory is exhausted
}

void KVRNTOBPackageInfo::loadPackageContents(ntob::TOBPackage* contents) {
  contents->addClass(new kvr::SignalRepositoryTOBClassInfo);
  contents->addClass(new DataMapTOBClassInfo);
}

namespace kvr {

void SignalRepositoryTOBClassInfo::loadMethods(ntob::TOBClass* cls) { registerMethods(cls); }

void* SignalRepositoryTOBClassInfo::createNativeInstance() {
  return SignalRepository::getInstance();
}

void SignalRepositoryTOBClassInfo::destroyNativeInstance(void*) {}

}  // namespace kvr
