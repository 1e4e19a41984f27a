// Whether a pair can be judged at all, before anything is read but the ends of the times.
#pragma once

#include "compare/common_span.h"

namespace kvr::compare {

// Throws Incomparable kNoValues, kNotNumeric or kBadTime, in this order, by what the series say of
// themselves.
void requireReadable(const Series& baseline, const Series& other);

// kShapeDiffers, kBadSettings or kNoFunction, the first that holds, or kNone.
Reason reasonBeforeJudging(const Series& baseline, const Series& other, const Settings& settings,
                           const CommonSpan& span);

// Throws std::invalid_argument if the time tolerance is negative or NaN.
void requireOptions(const Options& options);

}  // namespace kvr::compare
