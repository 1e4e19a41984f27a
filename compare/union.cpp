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
#include "compare/merging.h"
#include "compare/reason.h"

namespace kvr::compare {
namespace {

class Union : public InstantSource {
 public:
  explicit Union(const TwoSides& sides)
      : sides_(sides), i_(sides.span.baseline.begin), j_(sides.span.other.begin) {}

  bool next(InstantBlock& block) override;

 private:
  void merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps);
  static void dropRepeated(InstantBlock& block, std::size_t steps);
  void walk(InstantBlock& block);

  TwoSides sides_;
  std::size_t i_;  // baseline samples passed
  std::size_t j_;  // other samples passed
};

bool Union::next(InstantBlock& block) {
  while (true) {
    pollStop(sides_.options);
    const std::size_t left = leftOf(i_, sides_.span.baseline) + leftOf(j_, sides_.span.other);
    if (left == 0) return false;
    if (pairUp(block, sides_, i_, j_)) return true;
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

void Union::merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps) {
  double* const times = block.ownTimes.data();
  std::uint32_t* const passedF = block.baseline.passed.data();
  std::uint32_t* const passedG = block.other.passed.data();
  const std::size_t a = mergeTimes(f.ahead(), steps, g.ahead(), steps, steps, times, passedF);
  times[steps] = std::min(f.ahead()[a], g.ahead()[steps - a]);
  const auto before = static_cast<std::uint32_t>(f.position);
  const auto both = static_cast<std::uint32_t>(f.position + g.position + 1);
  for (std::uint32_t k = 0; k < steps; ++k) {
    passedF[k] += before;
    passedG[k] = both + k - passedF[k];
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
  block.baseline.lieIn(f, !sides_.isLinear, block.count);
  block.other.lieIn(g, !sides_.isLinear, block.count);
}

// Keeps the last of each run of equal times; the time after the last step is known.
void Union::dropRepeated(InstantBlock& block, std::size_t steps) {
  double* const times = block.ownTimes.data();
  std::size_t count = 0;
  for (std::size_t k = 0; k < steps; ++k) {
    times[count] = times[k];
    block.baseline.passed[count] = block.baseline.passed[k];
    block.other.passed[count] = block.other.passed[k];
    count += times[k] != times[k + 1] ? 1 : 0;
  }
  block.count = count;
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
  // Only times that became NaN are passed by no time.
  if (f.next() == i_ && g.next() == j_) throw Incomparable{Reason::kBadTime, {}};
  i_ = f.next();
  j_ = g.next();
}

}  // namespace

std::unique_ptr<InstantSource> unionOf(const TwoSides& sides) {
  return std::make_unique<Union>(sides);
}

}  // namespace kvr::compare
