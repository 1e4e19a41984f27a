#include "kvrntob/typedmap/map_class.h"

#include "kvrntob/host/libvr.h"
#include "kvrntob/typedmap/make_wrapper.h"
#include "kvrntob/typedmap/map_methods.h"

DataMapWrapper::DataMapWrapper() : wrapper(makeWrapperForKeyClass(vrCHAR_CLASS, vrCHAR_CLASS)) {}

DataMapWrapper::~DataMapWrapper() { wrapper.reset(); }

void DataMapTOBClassInfo::loadMethods(ntob::TOBClass* cls) { addMapMethods(cls); }

void* DataMapTOBClassInfo::createNativeInstance() { return new DataMapWrapper; }

void DataMapTOBClassInfo::destroyNativeInstance(void* native) {
  delete static_cast<DataMapWrapper*>(native);
}
