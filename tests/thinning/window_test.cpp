// The samples that a window keeps, against loops over all samples and one by one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <set>
#include <stdexcept>

#include "tests/thinning/plain_window.h"
#include "thinning/thinning.h"

namespace kvr::thinning::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Indices = std::vector<std::size_t>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::nan("");

std::vector<double> counted(std::size_t count) {
  std::vector<double> times(count);
  std::iota(times.begin(), times.end(), 0.0);
  return times;
}

// All of the values at times 0, 1, 2 and so on, in one column.
Indices oneColumn(const std::vector<double>& values) {
  return Thinned(counted(values.size()), values).window(-kInfinity, kInfinity, 1);
}

TEST(Window, keeps_what_loops_over_its_columns_keep) {
  constexpr int kTrials = 1500;
  int thinned = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    models::Random random(static_cast<std::uint64_t>(trial) + 1);
    const Samples samples = randomSamples(random);
    const Thinned found(samples.times, samples.values);
    for (int times = 0; times < 3; ++times) {
      const Viewed window = randomWindow(random, samples);
      const PlainWindow expected = plainWindow(samples, window);
      ASSERT_EQ(expected.kept, found.window(window.first, window.last, window.columns))
          << "trial " << trial << ", " << described(window);
      thinned += expected.isThinned ? 1 : 0;
    }
  }
  EXPECT_GT(thinned, kTrials / 4);
}

TEST(Window, keeps_first_lowest_highest_and_last_of_a_column) {
  EXPECT_THAT(oneColumn({5, 6, 9, 6, 5, 1, 3, 4}), ElementsAre(0, 2, 5, 7));
}

TEST(Window, of_few_samples_keeps_all) {
  const std::vector<double> times = counted(100);
  const Thinned thinned(times, times);
  EXPECT_EQ(18U, thinned.window(10, 25, 4).size());  // 16 and one on either side
  EXPECT_EQ(10U, thinned.window(10, 26, 4).size());  // 17: two of each column, as they rise
}

TEST(Window, keeps_one_sample_on_either_side) {
  const std::vector<double> times = counted(10);
  const Thinned thinned(times, times);
  EXPECT_THAT(thinned.window(3, 5, 9), ElementsAre(2, 3, 4, 5, 6));
  EXPECT_THAT(thinned.window(3.5, 3.75, 9), ElementsAre(3, 4));
  EXPECT_THAT(thinned.window(-9, -8, 9), ElementsAre(0));
  EXPECT_THAT(thinned.window(11, 12, 9), ElementsAre(9));
  EXPECT_THAT(thinned.window(0, 9, 9).size(), 10U);
}

TEST(Window, of_no_samples_is_empty) { EXPECT_THAT(Thinned({}, {}).window(0, 1, 10), IsEmpty()); }

TEST(Window, keeps_a_gap_as_its_first_sample_between_its_neighbours) {
  EXPECT_THAT(oneColumn({3, 3, 3, kNan, kNan, kNan, 3, 3, 3}), ElementsAre(0, 2, 3, 6, 8));
}

TEST(Window, keeps_gaps_over_several_columns_once) {
  std::vector<double> values(1000, 1.0);
  std::fill(values.begin() + 100, values.begin() + 900, kNan);
  const std::vector<double> times = counted(1000);
  const Indices kept = Thinned(times, values).window(0, 999, 10);
  EXPECT_EQ(1, std::count_if(kept.begin(), kept.end(),
                             [&](std::size_t i) { return std::isnan(values[i]); }));
}

TEST(Window, keeps_first_lowest_highest_and_last_of_an_event) {
  const std::vector<double> times{0, 1, 2, 2, 2, 2, 2, 2, 3, 4};
  const std::vector<double> values{0, 0, 1, 2, 9, 3, -9, 1, 2, 2};
  EXPECT_THAT(Thinned(times, values).window(0, 4, 1), ElementsAre(0, 1, 2, 4, 6, 7, 8, 9));
}

TEST(Window, of_one_time_keeps_its_event) {
  const std::vector<double> times{0, 2, 2, 2, 2, 2, 2, 3};
  const std::vector<double> values{0, 5, 6, 9, 4, 7, 7, 0};
  EXPECT_THAT(Thinned(times, values).window(2, 2, 1), ElementsAre(0, 1, 3, 4, 6, 7));
}

TEST(Window, joins_what_follows_eight_pieces_of_a_column) {
  std::vector<double> values(100, 5.0);
  for (std::size_t i = 1; i < values.size(); i += 2) values[i] = kNan;
  values[60] = 1;
  values[80] = 7;
  EXPECT_THAT(oneColumn(values), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 60, 80, 98, 99));
}

TEST(Window, of_alternating_gaps_stays_small) {
  constexpr std::size_t kColumns = 100;
  std::vector<double> values(100'000, 5.0);
  for (std::size_t i = 1; i < values.size(); i += 2) values[i] = kNan;
  const std::vector<double> times = counted(values.size());
  EXPECT_LE(Thinned(times, values).window(-kInfinity, kInfinity, kColumns).size(), 38 * kColumns);
}

TEST(Window, takes_infinite_ends_for_the_finite_times) {
  const std::vector<double> times{-kInfinity, 1, 2, 3, kInfinity};
  const Thinned thinned(times, times);
  EXPECT_EQ(thinned.window(1, 3, 2), thinned.window(-kInfinity, kInfinity, 2));
  EXPECT_THAT(thinned.window(-kInfinity, 1.5, 2), ElementsAre(0, 1, 2));
  const std::vector<double> infinite{-kInfinity, kInfinity};
  EXPECT_THAT(Thinned(infinite, infinite).window(-kInfinity, kInfinity, 2), ElementsAre(0, 1));
}

TEST(Window, may_be_wider_than_the_greatest_number) {
  constexpr double kGreatest = std::numeric_limits<double>::max();
  std::vector<double> times;
  for (int i = -50; i <= 50; ++i) times.push_back(i / 50.0 * kGreatest);
  EXPECT_EQ(20U, Thinned(times, times).window(-kGreatest, kGreatest, 10).size());
}

TEST(Window, keeps_further_samples_within_it) {
  const std::vector<double> times = counted(1000);
  const std::vector<double> values(1000, 0.0);
  const Thinned thinned(times, values);
  const Indices more{777, 120, 150, 150, 100, 99, 201, 98, 202};
  EXPECT_THAT(thinned.window(100, 200, 2, more), ElementsAre(99, 100, 120, 149, 150, 200, 201));
}

template <class Error, class Call>
std::string refusalOf(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

TEST(Window, that_is_none_is_refused) {
  const std::vector<double> times = counted(3);
  const Thinned thinned(times, times);
  const auto refusal = [&](double first, double last, std::size_t columns) {
    return refusalOf<std::invalid_argument>([&] { thinned.window(first, last, columns); });
  };
  EXPECT_EQ("a window has at least one column", refusal(0, 1, 0));
  EXPECT_EQ("a window has at least one column", refusal(1, 0, 0));
  EXPECT_EQ("a window ends at or after its first time", refusal(1, 0, 5));
  EXPECT_EQ("a window ends at or after its first time", refusal(kNan, 0, 5));
  EXPECT_EQ("a window ends at or after its first time", refusal(0, kNan, 5));
}

TEST(Window, refuses_further_samples_that_are_none) {
  const std::vector<double> times = counted(3);
  const Thinned thinned(times, times);
  const Indices more{1, 3};
  EXPECT_EQ("there is no sample 3",
            refusalOf<std::out_of_range>([&] { thinned.window(0, 1, 1, more); }));
}

TEST(Thinned, refuses_other_times_than_rising_ones) {
  const auto refusal = [](const std::vector<double>& times, std::size_t values) {
    return refusalOf<std::invalid_argument>(
        [&] { Thinned(times, std::vector<double>(values, 0.0)); });
  };
  EXPECT_EQ("2 values for 3 times", refusal({0, 1, kNan}, 2));
  EXPECT_EQ("the time of sample 0 is NaN", refusal({kNan, 1}, 2));
  EXPECT_EQ("the time of sample 1 is NaN", refusal({0, kNan, 2}, 3));
  EXPECT_EQ("the time of sample 2 is NaN", refusal({0, 1, kNan}, 3));
  EXPECT_EQ("the time of sample 2 is before that of the sample before", refusal({0, 1, 0.5}, 3));
  EXPECT_EQ("", refusal({0, 0, 0}, 3));
}

}  // namespace
}  // namespace kvr::thinning::test
