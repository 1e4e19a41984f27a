// The union of two time bases is merged block by block. Most blocks fall into one of three kinds:
//
//   the same times on both sides   the samples of either side pair up one by one
//   no time twice within a side,   a branch-free merge that takes one sample a step; of times that
//   or values are held             stand in both sides the last step counts, it has passed them all
//   anything else                  walked time by time
#include <algorithm>
#include <cstring>
#include <limits>

#include "compare/block_writer.h"
#include "compare/instants.h"
#include "compare/reason.h"

namespace kvr::compare {
namespace {

// The window of one side for a block.
struct Cursor {
  std::size_t base;       // sample at which the window starts
  const double* window;
  std::size_t position;   // in the window: samples passed
};

class Union : public InstantSource {
 public:
  explicit Union(const TwoSides& sides)
      : sides_(sides), i_(sides.span.baseline.begin), j_(sides.span.other.begin) {}

  bool next(InstantBlock& block) override;

 private:
  bool pairUp(InstantBlock& block, const Cursor& f, const Cursor& g);
  void merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps);
  void place(InstantBlock& block, const Cursor& side, Places& places);
  void walk(InstantBlock& block);

  std::size_t leftOf(std::size_t passed, SampleRange range) const {
    return range.end > passed ? range.end - passed : 0;
  }

  TwoSides sides_;
  std::size_t i_;  // baseline samples passed
  std::size_t j_;  // other samples passed
};

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
    const std::size_t left =
        leftOf(i_, sides_.span.baseline) + leftOf(j_, sides_.span.other);
    if (left == 0) return false;
    const std::size_t steps = std::min(left, kBlock);
    bool isStrict = true;
    const Cursor f = cursorAt(sides_.baseline, i_, steps, isStrict);
    const Cursor g = cursorAt(sides_.other, j_, steps, isStrict);
    if (isStrict && pairUp(block, f, g)) return true;
    if (isStrict || !sides_.isLinear) {
      merge(block, f, g, steps);
    } else {
      walk(block);
    }
    if (block.count > 0) return true;
  }
}

// Takes the samples that stand at the same times in both sides, if all do for a whole block.
bool Union::pairUp(InstantBlock& block, const Cursor& f, const Cursor& g) {
  const std::size_t count =
      std::min({kBlock, leftOf(i_, sides_.span.baseline), leftOf(j_, sides_.span.other)});
  const double* times = f.window + f.position;
  if (count == 0 || std::memcmp(times, g.window + g.position, count * sizeof(double)) != 0) {
    return false;
  }
  block.count = count;
  block.times = times;
  block.baseline.isRun = block.other.isRun = true;
  block.baseline.firstOfRun = i_;
  block.other.firstOfRun = j_;
  i_ += count;
  j_ += count;
  return true;
}

void Union::merge(InstantBlock& block, const Cursor& f, const Cursor& g, std::size_t steps) {
  double* const times = block.ownTimes.data();
  std::size_t* const passedF = block.baseline.left.data();
  std::size_t* const passedG = block.other.left.data();
  std::size_t a = f.position;
  std::size_t b = g.position;
  for (std::size_t k = 0; k < steps; ++k) {
    const double tf = f.window[a];
    const double tg = g.window[b];
    const std::size_t takesF = tf <= tg ? 1 : 0;
    times[k] = std::min(tf, tg);
    a += takesF;
    b += 1 - takesF;
    passedF[k] = a;
    passedG[k] = b;
  }
  times[steps] = std::min(f.window[a], g.window[b]);
  std::size_t count = 0;
  for (std::size_t k = 0; k < steps; ++k) {
    times[count] = times[k];
    passedF[count] = passedF[k];
    passedG[count] = passedG[k];
    count += times[k] != times[k + 1] ? 1 : 0;
  }
  block.count = count;
  block.times = times;
  i_ += a - f.position;
  j_ += b - g.position;
  if (count == 0) return;
  // Only times that fall further on let the span end before them.
  if (times[0] < sides_.span.start || times[count - 1] > sides_.span.end) {
    throw Incomparable{Reason::kBadTime, {}};
  }
  place(block, f, block.baseline);
  place(block, g, block.other);
}

// Turns the numbers of samples passed into places.
void Union::place(InstantBlock& block, const Cursor& side, Places& places) {
  places.isRun = false;
  places.isHeld = !sides_.isLinear;
  const double* const times = block.times;
  const double* const window = side.window;
  for (std::size_t k = 0; k < block.count; ++k) {
    const std::size_t passed = places.left[k];
    places.left[k] = side.base + passed - 1;
    if (!sides_.isLinear) continue;
    const double before = window[passed - 1];
    places.weight[k] = (times[k] - before) / (window[passed] - before);
    places.right[k] = side.base + passed - (before == times[k] ? 1 : 0);
  }
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
