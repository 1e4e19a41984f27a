// Times that stand in both sides. Without a time tolerance they are found block by block:
//
//   the same times on both sides   the samples of either side pair up one by one
//   no time twice within a side    samples of the other are counted up to each of the baseline
//   anything else                  walked time by time
#include <algorithm>
#include <cmath>

#include "compare/block_writer.h"
#include "compare/instants.h"
#include "compare/merging.h"
#include "compare/reason.h"

namespace kvr::compare {
namespace {

class Intersection : public InstantSource {
 public:
  explicit Intersection(const TwoSides& sides)
      : sides_(sides),
        isExact_(sides.options.timeTolerance == 0),
        inF_(isExact_ ? sides.span.baseline : SampleRange{0, sides.baseline.count()}),
        inG_(isExact_ ? sides.span.other : SampleRange{0, sides.other.count()}),
        i_(inF_.begin),
        j_(inG_.begin) {}

  bool next(InstantBlock& block) override {
    while (leftOf(i_, inF_) > 0 && leftOf(j_, inG_) > 0) {
      pollStop(sides_.options);
      if (isExact_ && pairUp(block, sides_, i_, j_)) return true;
      bool isStrict = isExact_;
      if (isStrict) {
        const Cursor f = cursorAt(sides_.baseline, i_, kBlock, isStrict);
        const Cursor g = cursorAt(sides_.other, j_, kBlock, isStrict);
        if (isStrict) match(block, f, g);
      }
      if (!isStrict) walk(block);
      if (block.count > 0) return true;
    }
    return false;
  }

 private:
  void match(InstantBlock& block, const Cursor& f, const Cursor& g);
  void walk(InstantBlock& block);

  TwoSides sides_;
  bool isExact_;  // else times may be apart by the time tolerance
  SampleRange inF_, inG_;
  std::size_t i_;  // baseline samples passed
  std::size_t j_;  // other samples passed
};

// Finds for each sample of the baseline how many of the other are at or before it: the last of
// these is its partner, or there is none. Samples that the other's window does not reach come next.
void Intersection::match(InstantBlock& block, const Cursor& f, const Cursor& g) {
  const double* const timesF = f.ahead();
  const double* const timesG = g.ahead();
  const double* const stop = timesF + std::min(leftOf(i_, inF_), kBlock);
  const auto reached =
      static_cast<std::size_t>(std::lower_bound(timesF, stop, timesG[kBlock]) - timesF);
  block.count = 0;
  if (reached == 0) {
    j_ += kBlock;
    return;
  }
  double* const instants = block.ownTimes.data();
  std::uint32_t* const samplesF = block.baseline.passed.data();
  std::uint32_t* const samplesG = block.other.passed.data();
  const std::size_t passed = passSamples(g, timesF, reached, samplesG);
  std::size_t count = 0;
  for (std::size_t k = 0; k < reached; ++k) {
    const std::uint32_t partner = std::max<std::uint32_t>(samplesG[k], 1);
    instants[count] = timesF[k];
    samplesF[count] = static_cast<std::uint32_t>(f.position + k + 1);
    samplesG[count] = partner;
    count += g.window[partner - 1] == timesF[k] ? 1 : 0;
  }
  block.count = count;
  block.times = instants;
  // Every instant is a sample of both sides: nothing is interpolated.
  block.baseline.lieIn(f, true, count);
  block.other.lieIn(g, true, count);
  i_ += reached;
  j_ += passed;
}

// Pairs the two times at hand, or passes the earlier one; about a block of them.
void Intersection::walk(InstantBlock& block) {
  BlockWriter writer(block, sides_);
  Walker f(sides_.baseline, i_);
  Walker g(sides_.other, j_);
  for (std::size_t k = 0; k < kBlock && writer.hasRoom(); ++k) {
    if (f.next() >= inF_.end || g.next() >= inG_.end) break;
    const double tf = f.time();
    const double tg = g.time();
    if (std::abs(tf - tg) <= sides_.options.timeTolerance) {
      const Location baseline = f.passTo(tf);
      writer.add(tf, baseline, g.passTo(tg));
    } else if (tf < tg) {
      f.passTo(tf);
    } else {
      g.passTo(tg);
    }
  }
  // Only times that became NaN are passed by no time.
  if (f.next() == i_ && g.next() == j_) throw Incomparable{Reason::kBadTime, {}};
  i_ = f.next();
  j_ = g.next();
}

}  // namespace

std::unique_ptr<InstantSource> intersectionOf(const TwoSides& sides) {
  return std::make_unique<Intersection>(sides);
}

}  // namespace kvr::compare
