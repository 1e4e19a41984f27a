// What must hold of every pair, whatever its numbers.
#include <algorithm>
#include <cmath>

#include "tests/compare/compare_test.h"
#include "tests/compare/random_pair.h"
#include "tests/compare/same_verdict.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

constexpr std::uint64_t kPairs = 3000;

template <class Check>
void forRandomPairs(std::uint64_t seed, Check check) {
  for (std::uint64_t i = 1; i <= kPairs; ++i) {
    SCOPED_TRACE("seed " + std::to_string(seed) + " pair " + std::to_string(i));
    models::Random random(seed * 1'000'003 + i);
    RandomPair pair = randomPair([&](int count) { return random.below(count); });
    check(pair);
    if (testing::Test::HasFailure()) return;
  }
}

Verdict verdictOf(const RandomPair& pair) {
  return compare(OwnedSeries(pair.baseline).view, OwnedSeries(pair.other).view, pair.settings,
                 pair.options);
}

bool isJudged(const Verdict& verdict) { return verdict.status != Status::kIncomparable; }

TEST(Properties, a_series_is_within_itself_at_tolerance_0_by_every_method) {
  std::size_t judged = 0;
  forRandomPairs(11, [&](RandomPair& pair) {
    pair.other = pair.baseline;
    pair.settings.tolerance = {};
    pair.settings.sync.syncType = 0;
    const Verdict verdict = verdictOf(pair);
    if (!isJudged(verdict)) return;
    ++judged;
    EXPECT_EQ(verdict.status, Status::kWithin);
    EXPECT_EQ(verdict.maxDifference, 0);
    EXPECT_EQ(verdict.lost + verdict.gained + verdict.uncovered + verdict.beyond, 0U);
  });
  EXPECT_GT(judged, kPairs / 2);
}

TEST(Properties, a_wider_tolerance_never_turns_within_into_out) {
  std::size_t fewer = 0;
  forRandomPairs(12, [&](RandomPair& pair) {
    pair.settings.tolerance.toleranceType = 0;
    const Verdict narrow = verdictOf(pair);
    pair.settings.tolerance.absolute *= 2;
    pair.settings.tolerance.relative += 0.25;
    const Verdict wide = verdictOf(pair);
    EXPECT_EQ(narrow.judged, wide.judged);
    EXPECT_LE(wide.out, narrow.out);
    EXPECT_LE(wide.instantsOut, narrow.instantsOut);
    fewer += wide.out < narrow.out ? 1 : 0;
  });
  EXPECT_GT(fewer, 100U);
}

TEST(Properties, a_wider_time_tolerance_forgives_no_less) {
  std::size_t fewer = 0;
  forRandomPairs(13, [&](RandomPair& pair) {
    if (pair.settings.sync.SyncMethod == 1) pair.settings.sync.SyncMethod = 0;
    pair.settings.tolerance.toleranceType = 0;
    pair.options.timeTolerance = 0;
    Verdict narrower = verdictOf(pair);
    for (const double w : {0.25, 1.0, 3.0, 1e6}) {
      pair.options.timeTolerance = w;
      const Verdict wider = verdictOf(pair);
      EXPECT_EQ(narrower.judged, wider.judged);
      EXPECT_LE(wider.out, narrower.out);
      EXPECT_LE(wider.uncovered, narrower.uncovered);
      EXPECT_EQ(wider.rms, narrower.rms);
      fewer += wider.out < narrower.out ? 1 : 0;
      narrower = wider;
    }
  });
  EXPECT_GT(fewer, 100U);
}

TEST(Properties, swapped_sides_mirror_the_counts) {
  std::size_t judged = 0;
  forRandomPairs(14, [&](RandomPair& pair) {
    pair.settings.tolerance = {};
    pair.settings.tolerance.absolute = 0.5;
    pair.settings.sync.syncType = 0;
    pair.options = {};
    pair.options.coverage = Coverage::kCommon;
    const Verdict there = verdictOf(pair);
    std::swap(pair.baseline, pair.other);
    const Verdict back = verdictOf(pair);
    if (!isJudged(there) || !isJudged(back) || there.instants == 0) return;
    ++judged;
    EXPECT_EQ(there.instants, back.instants);
    EXPECT_EQ(there.gaps, back.gaps);
    EXPECT_EQ(there.gained, back.lost);
    EXPECT_EQ(there.lost, back.gained);
    EXPECT_EQ(there.out - there.lost, back.out - back.lost);
    EXPECT_EQ(there.maxDifference, back.maxDifference);
    EXPECT_EQ(there.rms, back.rms);
  });
  EXPECT_GT(judged, kPairs / 4);
}

// Doubling all times, or halving them, changes no quotient of time spans.
TEST(Properties, times_scaled_by_a_power_of_two_change_times_alone) {
  forRandomPairs(15, [&](RandomPair& pair) {
    pair.settings.sync.syncType = 0;
    if (pair.settings.tolerance.toleranceType == 2) pair.settings.tolerance.toleranceType = 0;
    const Verdict plainly = verdictOf(pair);
    for (const double scale : {4.0, 0.125}) {
      RandomPair scaled = pair;
      for (plain::Side* side : {&scaled.baseline, &scaled.other}) {
        for (double& t : side->times) t *= scale;
      }
      scaled.settings.sync.UniformTimeInterval *= scale;
      scaled.settings.tolerance.timeStart *= scale;
      scaled.settings.tolerance.timeEnd *= scale;
      scaled.settings.tolerance.timeStep *= scale;
      scaled.options.timeTolerance *= scale;
      Verdict verdict = verdictOf(scaled);
      for (auto* time : {&verdict.firstOut, &verdict.lastOut, &verdict.maxDifferenceTime,
                         &verdict.maxRelativeTime}) {
        if (*time) **time /= scale;
      }
      for (auto* value : {&verdict.first, &verdict.worst}) {
        if (*value) (*value)->time /= scale;
      }
      for (Interval& interval : verdict.intervals) {
        interval.first /= scale;
        interval.last /= scale;
      }
      EXPECT_EQ(differenceOf(plainly, verdict), "") << pair.describe();
    }
  });
}

TEST(Properties, series_split_at_an_instant_have_the_counts_of_both_parts) {
  std::size_t split = 0;
  for (std::uint64_t seed = 1; seed <= 500; ++seed) {
    models::Random random(seed);
    plain::Side baseline;
    plain::Side other;
    const auto value = [&] { return random.percent(10) ? kNaN : random.below(3) * 1.0; };
    for (int i = 0; i <= 40; ++i) {
      // Both have a sample at 20, the place of the split.
      if (i == 20 || random.percent(70)) {
        baseline.times.push_back(i);
        baseline.samples.push_back({value()});
      }
      if (i == 20 || random.percent(70)) {
        other.times.push_back(i);
        other.samples.push_back({value()});
      }
    }
    const auto part = [](const plain::Side& side, double from, double to) {
      plain::Side cut;
      for (std::size_t i = 0; i < side.times.size(); ++i) {
        if (side.times[i] < from || side.times[i] > to) continue;
        cut.times.push_back(side.times[i]);
        cut.samples.push_back(side.samples[i]);
      }
      return cut;
    };
    const Given given = seed % 2 == 0 ? Given().linear().common() : Given().common();
    const Verdict whole = judged(baseline, other, given);
    const Verdict before = judged(part(baseline, 0, 20), part(other, 0, 20), given);
    const Verdict after = judged(part(baseline, 20, 40), part(other, 20, 40), given);
    const Verdict at = judged(part(baseline, 20, 20), part(other, 20, 20), given);
    EXPECT_EQ(whole.instants, before.instants + after.instants - at.instants);
    EXPECT_EQ(whole.judged, before.judged + after.judged - at.judged);
    EXPECT_EQ(whole.out, before.out + after.out - at.out);
    EXPECT_EQ(whole.gaps, before.gaps + after.gaps - at.gaps);
    EXPECT_EQ(whole.gained, before.gained + after.gained - at.gained);
    EXPECT_EQ(whole.uncovered, before.uncovered + after.uncovered);
    ++split;
  }
  EXPECT_EQ(split, 500U);
}

// The counts of values and the numbers made of them, whatever lies in what order in memory.
TEST(Properties, layouts_and_classes_do_not_matter) {
  forRandomPairs(16, [&](RandomPair& pair) {
    const OwnedSeries baseline(pair.baseline, pair.baselineTimes, pair.baselineValues);
    const OwnedSeries other(pair.other, pair.otherTimes, pair.otherValues);
    const Verdict laidOut = compare(baseline.view, other.view, pair.settings, pair.options);
    EXPECT_EQ(differenceOf(verdictOf(pair), laidOut), "") << pair.describe();
  });
}

}  // namespace
}  // namespace kvr::compare::test
