#include <cstdint>

#include "kvrntob/typedmap/make_wrapper_impl.h"

template AbstractVrWrapperDataMap* makeWrapperForValueClass<std::uint64_t>(int, const char*);
