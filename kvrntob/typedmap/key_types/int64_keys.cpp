#include <cstdint>

#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<std::int64_t>(int, const char*);
