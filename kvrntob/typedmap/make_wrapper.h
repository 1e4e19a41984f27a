// The choice of a map's types from the host classes of its two samples.
#pragma once

#include "kvrntob/typedmap/abstract_wrapper.h"

// A new, empty map for keys like a sample of class `keyClass` and values like a scalar sample of
// class `valueClass`; class 0 stands for a value sample that is no scalar. The caller owns it. Null
// when host memory is exhausted; throws std::bad_alloc when the ordinary heap is.
// Fails with UNSUPPORTED_KEY if there are no keys of that class.
AbstractVrWrapperDataMap* makeWrapperForKeyClass(int keyClass, int valueClass);

// The same for keys of type K, which `keyTypeName` names. One for each of the 7 key types, each in
// a source of its own.
template <class K>
AbstractVrWrapperDataMap* makeWrapperForValueClass(int valueClass, const char* keyTypeName);
