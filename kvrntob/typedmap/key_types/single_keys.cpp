#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<float>(int, const char*);
