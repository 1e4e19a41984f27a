// Line colours and styles of new signals: sixteen colours in each of four styles, in turn.
#pragma once

#include <array>

#include "kvrntob/store/integers.h"

namespace kvr {

// Red, green and blue, each from 0 to 1. Rows 12 and 14 are alike, and stay so.
extern const std::array<std::array<double, 3>, 16> linePalette;

extern const std::array<const char*, 4> lineStyles;

// The place of the last signal made in the process, -1 before the first. Never reset: removals,
// runs and a dropped store leave it alone.
extern int32 paletteCounter;

}  // namespace kvr
