// The integer of ids, indexes and codes. Signal and run ids count from 1.
#pragma once

#include <cstdint>

namespace kvr {

using int32 = std::int32_t;

}  // namespace kvr
