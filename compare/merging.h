// Merging the times of two lists without branches. Sources of instants use it where no time stands
// twice within a side, or where values are held.
#pragma once

#include <cstddef>
#include <cstdint>

#include "compare/buffer.h"
#include "compare/instants.h"

namespace kvr::compare {

// A window of `steps` samples from sample `passed` on, two and kLookAhead more, and the one before
// if there is one. `isStrict` becomes false if a time stands twice in it. Throws Incomparable
// kBadTime.
Cursor cursorAt(Times& times, std::size_t passed, std::size_t steps, bool& isStrict);
// The same for a block, or for all that is left of the side.
Cursor cursorAt(Times& times, std::size_t passed, bool& isStrict);

// Merges the first `steps` times of `f` and `g`, of which they have `countF` and `countG`; of equal
// ones those of `f` come first. Both can be read one further, where they must be greater than all
// that are merged. Fills times[k], and taken[k]: how many of `f` stand among the first k + 1.
// Returns how many of `f` were taken.
std::size_t mergeTimes(const double* f, std::size_t countF, const double* g, std::size_t countG,
                       std::size_t steps, double* times, std::uint32_t* taken);

// Finds how many samples of the window are at or before each of the `count` times; those before the
// position count too. The times never fall and are less than that of sample reach() ahead. Returns
// how many samples are passed from the position on, which the last time tells.
std::size_t passSamples(const Cursor& side, const double* times, std::size_t count,
                        std::uint32_t* passed);

// How many samples lie before `passed` in the range.
std::size_t leftOf(std::size_t passed, SampleRange range);

// Takes the samples from `i` and `j` on that stand at the same times in both sides, if all do for a
// whole block, and passes them.
bool pairUp(InstantBlock& block, const TwoSides& sides, std::size_t& i, std::size_t& j);

}  // namespace kvr::compare
