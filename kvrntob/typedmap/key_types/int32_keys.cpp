#include <cstdint>

#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<std::int32_t>(int, const char*);
