#include "compare/merging.h"

#include <algorithm>

#include "compare/kernels.h"

namespace kvr::compare {

std::size_t leftOf(std::size_t passed, SampleRange range) {
  return range.end > passed ? range.end - passed : 0;
}

Cursor cursorAt(Times& times, std::size_t passed, std::size_t steps, bool& isStrict) {
  const std::size_t before = passed > 0 ? 1 : 0;
  const std::size_t length = before + steps + 2 + kLookAhead;
  const TimeWindow window = times.window(passed - before, length);
  isStrict = isStrict && window.isStrict;
  return {passed - before, window.times, length, before, times.count()};
}

namespace {

// How many of the first `steps` of both lists are of f, those of equal times first.
std::size_t shareOf(const double* f, std::size_t countF, const double* g, std::size_t countG,
                    std::size_t steps) {
  std::size_t low = steps > countG ? steps - countG : 0;
  for (std::size_t high = std::min(steps, countF); low < high;) {
    const std::size_t middle = low + (high - low) / 2;
    if (f[middle] <= g[steps - middle - 1]) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

}  // namespace

// Each step waits for the one before, so that four stretches are merged side by side.
std::size_t mergeTimes(const double* f, std::size_t countF, const double* g, std::size_t countG,
                       std::size_t steps, double* times, std::uint32_t* taken) {
  constexpr std::size_t kStretches = 4;
  const std::size_t length = steps / kStretches;
  std::size_t a[kStretches];
  for (std::size_t s = 0; s < kStretches; ++s) a[s] = shareOf(f, countF, g, countG, s * length);
  const auto step = [=](std::size_t k, std::size_t& fTaken) {
    const double tf = f[fTaken];
    const double tg = g[k - fTaken];
    times[k] = tf <= tg ? tf : tg;
    fTaken += tf <= tg ? 1 : 0;
    taken[k] = static_cast<std::uint32_t>(fTaken);
  };
  for (std::size_t k = 0; k < length; ++k) {
    for (std::size_t s = 0; s < kStretches; ++s) step(s * length + k, a[s]);
  }
  for (std::size_t k = kStretches * length; k < steps; ++k) step(k, a[kStretches - 1]);
  return a[kStretches - 1];
}

std::size_t passSamples(const Cursor& side, const double* times, std::size_t count,
                        std::uint32_t* passed) {
  const std::size_t most = side.position + kBlock;
  const std::size_t end =
      kernels().countUpTo(side.window, side.position, most, times, count, passed);
  return end - side.position;
}

bool pairUp(InstantBlock& block, const TwoSides& sides, std::size_t& i, std::size_t& j) {
  const std::size_t count =
      std::min({kBlock, leftOf(i, sides.span.baseline), leftOf(j, sides.span.other)});
  if (count == 0 || !sides.baseline.sharesRun(i, count, sides.other, j)) return false;
  block.count = count;
  block.times = sides.baseline.data() + i;
  block.baseline.form = block.other.form = Places::Form::kRun;
  block.baseline.firstOfRun = i;
  block.other.firstOfRun = j;
  i += count;
  j += count;
  return true;
}

}  // namespace kvr::compare
