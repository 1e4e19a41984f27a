// How a step of the comparison says that the pair cannot be judged.
#pragma once

#include <string>

#include "compare/compare.h"

namespace kvr::compare {

// Thrown by the steps, and turned into a verdict by `compare`.
struct Incomparable {
  Reason reason;
  std::string text;  // what a function that failed said
};

}  // namespace kvr::compare
