#include <algorithm>

#include "compare/instants.h"

namespace kvr::compare {

void Places::lieIn(const Cursor& window, bool held, std::size_t count) {
  form = Form::kPassed;
  isHeld = held;
  side = window;
  if (side.position > 0) return;
  std::uint32_t* const numbers = passed.data();
  for (std::size_t k = 0; k < count; ++k) numbers[k] = std::max<std::uint32_t>(numbers[k], 1);
}

void Places::list(const double* instants, std::size_t count) {
  if (form != Form::kPassed) return;
  form = Form::kListed;
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t at = passed[k];
    left[k] = side.base + at - 1;
    if (isHeld) continue;
    const double before = side.window[at - 1];
    // The last sample has none behind it, and needs none unless its time has changed.
    right[k] = std::min(left[k] + (before == instants[k] ? 0 : 1), side.samples - 1);
    weight[k] = (instants[k] - before) / (side.window[at] - before);
  }
}

}  // namespace kvr::compare
