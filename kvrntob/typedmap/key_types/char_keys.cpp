#include <string>

#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<std::string>(int, const char*);
