#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<double>(int, const char*);
