// The 13 maps of one key type. Included by the sources of key_types/ alone.
#pragma once

#include "kvrntob/typedmap/make_wrapper.h"
#include "kvrntob/typedmap/wrapper.h"

template <class K, class V>
AbstractVrWrapperDataMap* makeWrapper(const char* keyTypeName, const char* valueTypeName) {
  return new VrWrapperDataMap<K, V>(keyTypeName, valueTypeName);
}

template <class K>
AbstractVrWrapperDataMap* makeWrapperForValueClass(int valueClass, const char* keyTypeName) {
  switch (valueClass) {
#define VALUE(hostClass, typeName, Native) \
  case hostClass:                          \
    return makeWrapper<K, Native>(keyTypeName, typeName);
#include "kvrntob/typedmap/wrapper_types.def"
  }
  return makeWrapper<K, vrArray*>(keyTypeName, "any");
}
