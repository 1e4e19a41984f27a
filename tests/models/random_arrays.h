// Random inputs.
#pragma once

#include <string>

#include "tests/models/plain_array.h"
#include "tests/models/random.h"

namespace kvr::models {

// Any class, any shape, any content. `objects` is the highest number of an object.
PlainArray anyArray(Random& random, int objects);

double anyDouble(Random& random);

// A whole number in a class that an "int32 scalar" takes, mostly int32 itself.
PlainArray whole(Random& random, int32 value);
// In an integer class, mostly int32.
PlainArray integer(Random& random, int32 value);

// A text with characters that are not ASCII, with a NUL, of another shape; mostly `usual`.
PlainArray textInput(Random& random, const std::string& usual);

// A value object with "Time" and "Data", or something else that `add` is to keep.
PlainArray signalValues(Random& random);

PlainArray toleranceStruct(Random& random);
PlainArray syncStruct(Random& random);

}  // namespace kvr::models
