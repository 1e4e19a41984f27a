#include "kvrntob/typedmap/map_class.h"

#include "kvrntob/host/libvr.h"
#include "kvrntob/typedmap/make_wrapper.h"
#include "kvrntob/typedmap/map_methods.h"

DataMapWrapper::DataMapWrapper() : wrapper(makeWrapperForKeyClass(vrCHAR_CLASS, vrCHAR_CLASS)) {}

DataMapWrapper::~DataMapWrapper() { wrapper.reset(); }

const char* DataMapTOBClassInfo::getName() const { return "Map"; }
const char* DataMapTOBClassInfo::getDescription() const { return "Dravik KVR Map Container"; }
const char* DataMapTOBClassInfo::getDetailedDescription() const { return getDescription(); }

void DataMapTOBClassInfo::loadMethods(ntob::TOBClass* cls) { addMapMethods(cls); }

void* DataMapTOBClassInfo::createNativeInstance() { return new DataMapWrapper; }

void DataMapTOBClassInfo::destroyNativeInstance(void* native) {
  delete static_cast<DataMapWrapper*>(native);
}

bool DataMapTOBClassInfo::firstFlag() const { return true; }
bool DataMapTOBClassInfo::firstNameQuery(ntob::TOBNameID) const { return false; }
bool DataMapTOBClassInfo::secondNameQuery(ntob::TOBNameID) const { return false; }
bool DataMapTOBClassInfo::secondFlag() const { return true; }
bool DataMapTOBClassInfo::thirdFlag() const { return false; }
bool DataMapTOBClassInfo::fourthFlag() const { return false; }
