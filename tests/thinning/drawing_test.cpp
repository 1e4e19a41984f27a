// What the kept samples draw is what all samples draw.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "tests/thinning/plain_window.h"
#include "tests/thinning/raster.h"
#include "thinning/thinning.h"

namespace kvr::thinning::test {
namespace {

constexpr int kTrials = 700;

std::vector<std::size_t> allOf(const Samples& samples) {
  std::vector<std::size_t> indices(samples.times.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  return indices;
}

bool covers(const std::vector<Stretch>& all, const Stretch& part) {
  return std::any_of(all.begin(), all.end(), [&](const Stretch& stretch) {
    return stretch.first <= part.first && stretch.second >= part.second;
  });
}

// A column with too many pieces may be covered further, between its lowest and highest pixel.
void expectFilled(const std::vector<Stretch>& all, const std::vector<Stretch>& kept) {
  ASSERT_FALSE(all.empty());
  ASSERT_FALSE(kept.empty());
  EXPECT_EQ(all.front().first, kept.front().first);
  EXPECT_EQ(all.back().second, kept.back().second);
  for (const Stretch& stretch : all) EXPECT_TRUE(covers(kept, stretch));
}

class Drawing : public testing::TestWithParam<Join> {};

TEST_P(Drawing, of_kept_samples_covers_the_pixels_of_all) {
  int thinned = 0;
  int crowded = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    models::Random random(static_cast<std::uint64_t>(trial) + 1);
    const Samples samples = randomSamples(random);
    const Viewed window = randomWindow(random, samples);
    const auto plain = plainWindow(samples, window);
    const Viewed shown = finiteWindow(samples, window);
    if (shown.first > shown.last) continue;  // no sample is in it
    const auto kept =
        Thinned(samples.times, samples.values).window(window.first, window.last, window.columns);
    const Raster expected = drawn(samples, allOf(samples), shown, GetParam());
    const Raster found = drawn(samples, kept, shown, GetParam());
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t column = 0; column < expected.size(); ++column) {
      if (std::binary_search(plain.crowded.begin(), plain.crowded.end(), column)) {
        expectFilled(expected[column], found[column]);
      } else {
        EXPECT_EQ(expected[column], found[column]);
      }
      ASSERT_FALSE(HasFailure()) << "trial " << trial << ", " << described(window) << ", column "
                                 << column;
    }
    thinned += plain.isThinned ? 1 : 0;
    crowded += plain.crowded.empty() ? 0 : 1;
  }
  EXPECT_GT(thinned, kTrials / 10);
  EXPECT_GT(crowded, kTrials / 50);
}

INSTANTIATE_TEST_SUITE_P(Joins, Drawing, testing::Values(Join::kStraight, Join::kStep));

}  // namespace
}  // namespace kvr::thinning::test
