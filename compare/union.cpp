// The union of two time bases is merged block by block. Most blocks fall into one of three kinds:
//
//   the same times on both sides   the samples of either side pair up one by one
//   no time twice within a side,   a branch-free merge that takes one sample a step; of times that
//   or values are held             stand in both sides the last step counts, it has passed them all
//   anything else                  walked time by time
#include <algorithm>
#include <limits>

#include "compare/block_writer.h"
#include "compare/instants.h"
#include "compare/kernels.h"
#include "compare/reason.h"

namespace kvr::compare {
namespace {

// The window of one side for a block.
struct Cursor {
  std::size_t base;  // sample at which the window starts
  const double* window;
  std::size_t position;  // in the window: samples passed
};

class Union : public InstantSource {
 public:
  explicit Union(const TwoSides& sides)
      : sides_(sides),
        i_(sides.span.baseline.begin),
        j_(sides.span.other.begin),
        passed_(kBlock),
        before_(kBlock),
        after_(kBlock) {}

  bool next(InstantBlock& block) override;

 private:
  bool pairUp(InstantBlock& block);
  void merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps);
  static void dropRepeated(InstantBlock& block, std::size_t steps);
  void place(InstantBlock& block, const Cursor& side, Places& places);
  void walk(InstantBlock& block);

  TwoSides sides_;
  std::size_t i_;                       // baseline samples passed
  std::size_t j_;                       // other samples passed
  std::vector<std::uint32_t> passed_;   // at each instant, in the window of the baseline
  std::vector<double> before_, after_;  // times of a side round each instant
};

std::size_t leftOf(std::size_t passed, SampleRange range) {
  return range.end > passed ? range.end - passed : 0;
}

// One sample before the position belongs to the window too, if there is one.
Cursor cursorAt(Times& times, std::size_t passed, std::size_t steps, bool& isStrict) {
  const std::size_t before = passed > 0 ? 1 : 0;
  const TimeWindow window = times.window(passed - before, before + steps + 2);
  isStrict = isStrict && window.isStrict;
  return {passed - before, window.times, before};
}

bool Union::next(InstantBlock& block) {
  while (true) {
    pollStop(sides_.options);
    const std::size_t left = leftOf(i_, sides_.span.baseline) + leftOf(j_, sides_.span.other);
    if (left == 0) return false;
    if (pairUp(block)) return true;
    const std::size_t steps = std::min(left, kBlock);
    bool isStrict = true;
    const Cursor f = cursorAt(sides_.baseline, i_, steps, isStrict);
    const Cursor g = cursorAt(sides_.other, j_, steps, isStrict);
    if (isStrict || !sides_.isLinear) {
      merge(block, f, g, steps);
    } else {
      walk(block);
    }
    if (block.count > 0) return true;
  }
}

// Takes the samples that stand at the same times in both sides, if all do for a whole block.
bool Union::pairUp(InstantBlock& block) {
  const std::size_t count =
      std::min({kBlock, leftOf(i_, sides_.span.baseline), leftOf(j_, sides_.span.other)});
  if (count == 0 || !sides_.baseline.sharesRun(i_, count, sides_.other, j_)) return false;
  block.count = count;
  block.times = sides_.baseline.data() + i_;
  block.baseline.isRun = block.other.isRun = true;
  block.baseline.firstOfRun = i_;
  block.other.firstOfRun = j_;
  i_ += count;
  j_ += count;
  return true;
}

// How many of the first `steps` samples of both windows are of f, those of equal times first.
std::size_t shareOf(const double* f, const double* g, std::size_t steps) {
  std::size_t low = 0;
  for (std::size_t high = steps; low < high;) {
    const std::size_t middle = low + (high - low) / 2;
    if (f[middle] <= g[steps - middle - 1]) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

// Merges the first `steps` samples of both: their times, and at each how many of f were taken. Each
// step waits for the one before, so that four stretches are merged side by side.
std::size_t mergeSamples(const double* f, const double* g, std::size_t steps, double* times,
                         std::uint32_t* taken) {
  constexpr std::size_t kStretches = 4;
  const std::size_t length = steps / kStretches;
  std::size_t a[kStretches];
  for (std::size_t s = 0; s < kStretches; ++s) a[s] = shareOf(f, g, s * length);
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

void Union::merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps) {
  double* const times = block.ownTimes.data();
  const double* const fromF = f.window + f.position;
  const double* const fromG = g.window + g.position;
  const std::size_t a = mergeSamples(fromF, fromG, steps, times, passed_.data());
  times[steps] = std::min(fromF[a], fromG[steps - a]);
  std::size_t* const passedF = block.baseline.left.data();
  std::size_t* const passedG = block.other.left.data();
  for (std::size_t k = 0; k < steps; ++k) {
    passedF[k] = f.position + passed_[k];
    passedG[k] = g.position + (k + 1 - passed_[k]);
  }
  block.count = steps;
  if (kernels().orderOf(times, steps + 1) != Order::kRises) dropRepeated(block, steps);
  block.times = times;
  i_ += a;
  j_ += steps - a;
  if (block.count == 0) return;
  // Only times that fall further on let the span end before them.
  if (times[0] < sides_.span.start || times[block.count - 1] > sides_.span.end) {
    throw Incomparable{Reason::kBadTime, {}};
  }
  place(block, f, block.baseline);
  place(block, g, block.other);
}

// Keeps the last of each run of equal times; the time after the last step is known.
void Union::dropRepeated(InstantBlock& block, std::size_t steps) {
  double* const times = block.ownTimes.data();
  std::size_t count = 0;
  for (std::size_t k = 0; k < steps; ++k) {
    times[count] = times[k];
    block.baseline.left[count] = block.baseline.left[k];
    block.other.left[count] = block.other.left[k];
    count += times[k] != times[k + 1] ? 1 : 0;
  }
  block.count = count;
}

// Turns the numbers of samples passed into places.
void Union::place(InstantBlock& block, const Cursor& side, Places& places) {
  places.isRun = false;
  places.isHeld = !sides_.isLinear;
  const double* const times = block.times;
  const double* const window = side.window;
  std::size_t* const left = places.left.data();
  if (places.isHeld) {
    for (std::size_t k = 0; k < block.count; ++k) left[k] += side.base - 1;
    return;
  }
  for (std::size_t k = 0; k < block.count; ++k) {
    const std::size_t passed = left[k];
    before_[k] = window[passed - 1];
    after_[k] = window[passed];
    places.right[k] = side.base + passed - (before_[k] == times[k] ? 1 : 0);
    left[k] = side.base + passed - 1;
  }
  kernels().findWeights(times, before_.data(), after_.data(), block.count, places.weight.data());
}

void Union::walk(InstantBlock& block) {
  BlockWriter writer(block, sides_);
  Walker f(sides_.baseline, i_);
  Walker g(sides_.other, j_);
  const SampleRange& inF = sides_.span.baseline;
  const SampleRange& inG = sides_.span.other;
  while (writer.hasRoom() && (f.next() < inF.end || g.next() < inG.end)) {
    double t = std::numeric_limits<double>::infinity();
    if (!f.atEnd()) t = std::min(t, f.time());
    if (!g.atEnd()) t = std::min(t, g.time());
    const Location baseline = f.passTo(t);
    writer.add(t, baseline, g.passTo(t));
  }
  i_ = f.next();
  j_ = g.next();
}

}  // namespace

std::unique_ptr<InstantSource> unionOf(const TwoSides& sides) {
  return std::make_unique<Union>(sides);
}

}  // namespace kvr::compare
