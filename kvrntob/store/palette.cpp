#include "kvrntob/store/palette.h"

namespace kvr {

const std::array<std::array<double, 3>, 16> linePalette{{
    {0, 0, 0},
    {1, 0, 0},
    {0, 1, 0},
    {1, 1, 0},
    {1, 0, 1},
    {0, 0, 1},
    {1, 0.5, 0},
    {0.5, 0, 1},
    {0.5, 0.5, 0.5},
    {0.5, 0.25, 0},
    {0, 1, 1},
    {0.75, 0.75, 0.75},
    {0, 0, 0.5},
    {0, 0.5, 0.5},
    {0, 0, 0.5},
    {0.2, 0.81, 0.2},
}};

const std::array<const char*, 4> lineStyles{"-", "--", ":", "-."};

int32 paletteCounter = -1;

}  // namespace kvr
