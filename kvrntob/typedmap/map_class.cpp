#include "kvrntob/typedmap/map_class.h"

#include "kvrntob/typedmap/map_methods.h"
#include "kvrntob/typedmap/map_object.h"

void DataMapTOBClassInfo::loadMethods(ntob::TOBClass* cls) { addMapMethods(cls); }

void* DataMapTOBClassInfo::createNativeInstance() { return new DataMapWrapper; }

void DataMapTOBClassInfo::destroyNativeInstance(void* native) {
  delete static_cast<DataMapWrapper*>(native);
}
