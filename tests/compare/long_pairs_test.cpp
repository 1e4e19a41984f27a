// Pairs of several blocks against the plain model: what is kept from one block to the next.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/compare/compare_test.h"
#include "tests/compare/plain_model.h"
#include "tests/compare/same_verdict.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

constexpr std::size_t kSamples = 2300;

// How the times of the two sides stand to each other.
enum class Pattern {
  kEveryOther,   // every second time stands in both
  kInterleaved,  // none does
  kPartlyEqual,  // long stretches are equal, others are not
  kWithEvents,   // some times stand twice, in one side or in both
  kManyForOne,   // the other has a sample where the baseline has fifty
  kUneven,       // now close together, now far apart; gaps and infinities among the values
};

struct LongPair {
  plain::Side baseline, other;
};

void append(plain::Side& side, double time, models::Random& random) {
  side.times.push_back(time);
  side.samples.push_back({static_cast<double>(random.below(4))});
}

LongPair unevenPair(models::Random& random) {
  LongPair pair;
  for (plain::Side* side : {&pair.baseline, &pair.other}) {
    double t = 0;
    double longest = 1;
    for (std::size_t i = 0; i < kSamples; ++i) {
      if (random.percent(2)) longest = random.oneOf<double>({1, 4, 40, 400});
      append(*side, t, random);
      if (random.percent(5))
        side->samples.back()[0] = random.oneOf<double>({kNaN, kInfinity, 1e308});
      t += 0.125 * (1 + random.below(static_cast<int>(longest)));
    }
  }
  return pair;
}

LongPair longPair(Pattern pattern, std::uint64_t seed) {
  models::Random random(seed);
  if (pattern == Pattern::kUneven) return unevenPair(random);
  LongPair pair;
  for (std::size_t i = 0; i < kSamples; ++i) {
    const auto t = static_cast<double>(i);
    const double between = t + 0.125 * (1 + random.below(6));
    append(pair.baseline, t, random);
    switch (pattern) {
      case Pattern::kEveryOther:
        append(pair.other, i % 2 == 0 ? t : between, random);
        break;
      case Pattern::kInterleaved:
        append(pair.other, between, random);
        break;
      case Pattern::kPartlyEqual:
        append(pair.other, i % 1500 < 1100 ? t : between, random);
        break;
      case Pattern::kWithEvents:
        append(pair.other, t, random);
        if (i % 700 == 300) append(pair.baseline, t, random);
        if (i % 900 >= 898) append(pair.other, t, random);
        break;
      case Pattern::kManyForOne:
        if (i % 50 == 0) append(pair.other, random.below(2) == 0 ? t : between, random);
        break;
      case Pattern::kUneven:
        break;  // made above
    }
  }
  return pair;
}

std::vector<Given> everyMethod() {
  std::vector<Given> all;
  const auto add = [&](Given given) {
    all.push_back(given);
    all.push_back(given.linear());
  };
  add(Given());
  add(Given().intersection());
  for (const double interval : {0.625, 1.0, 40.0, 1300.0}) add(Given().uniform(interval));
  add(Given().custom([](auto baseline, auto other) {
    std::vector<double> instants(baseline.begin(), baseline.end());
    instants.insert(instants.end(), other.begin(), other.end());
    instants.insert(instants.end(), {-5, 100.0625, 1e9});
    std::sort(instants.begin(), instants.end());
    return instants;
  }));
  return all;
}

class LongPairs : public testing::TestWithParam<Pattern> {};

TEST_P(LongPairs, get_the_verdict_of_the_plain_model_by_every_method) {
  const LongPair pair = longPair(GetParam(), 7);
  std::size_t instants = 0;
  for (Given given : everyMethod()) {
    given.absolute(1).common();
    SCOPED_TRACE("method " + std::to_string(given.settings.sync.SyncMethod) + " type " +
                 std::to_string(given.settings.sync.syncType) + " interpolation " +
                 std::to_string(given.settings.sync.InterpMethod) + " interval " +
                 std::to_string(given.settings.sync.UniformTimeInterval));
    const Verdict found = judged(pair.baseline, pair.other, given);
    const Verdict expected = plain::judge(pair.baseline, pair.other, given.settings, given.options);
    EXPECT_EQ(differenceOf(expected, found), "");
    instants += found.instants;
  }
  EXPECT_GT(instants, 8 * kSamples);
}

TEST_P(LongPairs, get_the_same_verdict_wherever_the_numbers_lie) {
  const LongPair pair = longPair(GetParam(), 9);
  const Layout singles{.numericClass = NumericClass::kSingle, .isReversed = true, .gap = 3};
  const Layout unaligned{.gap = 1, .offset = 5};
  const OwnedSeries baseline(pair.baseline, unaligned, singles);
  const OwnedSeries other(pair.other, unaligned, singles);
  plain::Side kept = pair.baseline;
  plain::Side keptOther = pair.other;
  for (plain::Side* side : {&kept, &keptOther}) {
    for (plain::Sample& sample : side->samples) {
      sample[0] = test::kept(sample[0].real(), NumericClass::kSingle);
    }
  }
  for (Given given : everyMethod()) {
    given.absolute(1).common();
    const Verdict found = compare(baseline.view, other.view, given.settings, given.options);
    EXPECT_EQ(differenceOf(judged(kept, keptOther, given), found), "");
  }
}

TEST_P(LongPairs, without_a_common_time_share_no_instant) {
  LongPair pair = longPair(GetParam(), 8);
  for (double& t : pair.other.times) t += 0.0625;
  for (Given given : {Given().intersection(), Given().intersection().linear()}) {
    EXPECT_EQ(judged(pair.baseline, pair.other, given.common()).instants, 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(Patterns, LongPairs,
                         testing::Values(Pattern::kEveryOther, Pattern::kInterleaved,
                                         Pattern::kPartlyEqual, Pattern::kWithEvents,
                                         Pattern::kManyForOne, Pattern::kUneven));

// The generator goes on where the times of the grid collapse into few doubles.
TEST(LongGrid, with_steps_below_the_resolution_of_the_times_has_each_time_once) {
  const double start = 1e9;
  const Signal pair{{start, start + 1e-5}, {1, 1}};
  const Verdict verdict = judged(pair, pair, Given().uniform(1e-9));
  // Between the ends lie the doubles that are a multiple of 2^-23 away.
  EXPECT_EQ(verdict.instants, static_cast<std::size_t>((pair.times[1] - start) * 0x1p23) + 1);
}

}  // namespace
}  // namespace kvr::compare::test
