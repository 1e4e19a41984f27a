// The tree of extremes against loops over every stretch, and what its public operation refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "tests/thinning/plain_window.h"
#include "thinning/thinning.h"

namespace kvr::thinning::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNan = std::nan("");

bool isOfKind(const Samples& samples, Kind kind, std::size_t i) {
  if (kind == Kind::kNumber) return !std::isnan(samples.values[i]);
  if (kind == Kind::kGap) return std::isnan(samples.values[i]);
  return i + 1 < samples.times.size() && samples.times[i] == samples.times[i + 1];
}

std::size_t plainNext(const Samples& samples, Kind kind, std::size_t begin, std::size_t end) {
  while (begin < end && !isOfKind(samples, kind, begin)) ++begin;
  return begin;
}

std::size_t plainLast(const Samples& samples, Kind kind, std::size_t begin, std::size_t end) {
  for (std::size_t i = end; i > begin; --i)
    if (isOfKind(samples, kind, i - 1)) return i - 1;
  return end;
}

TEST(ExtremesTree, answers_as_loops_do_for_any_stretch) {
  for (int trial = 0; trial < 400; ++trial) {
    models::Random random(static_cast<std::uint64_t>(trial) + 1);
    const Samples samples = randomSamples(random);
    const ExtremesTree tree(samples.times, samples.values);
    for (int stretch = 0; stretch < 10; ++stretch) {
      const int count = static_cast<int>(samples.times.size()) + 1;
      const auto one = static_cast<std::size_t>(random.below(count));
      const auto other = static_cast<std::size_t>(random.below(count));
      const std::size_t begin = std::min(one, other);
      const std::size_t end = std::max(one, other);
      EXPECT_EQ(plainExtremes(samples.values, begin, end), tree.extremes(begin, end));
      for (const Kind kind : {Kind::kNumber, Kind::kGap, Kind::kSameTime}) {
        EXPECT_EQ(plainNext(samples, kind, begin, end), tree.next(kind, begin, end));
        EXPECT_EQ(plainLast(samples, kind, begin, end), tree.last(kind, begin, end));
      }
      ASSERT_FALSE(HasFailure()) << "trial " << trial << ", " << begin << " up to " << end;
    }
  }
}

std::optional<Extremes> extremesOf(const std::vector<double>& values) {
  const std::vector<double> times(values.size(), 0.0);
  return Thinned(times, values).extremes(0, values.size() - 1);
}

TEST(Extremes, of_equal_values_are_the_earliest) {
  EXPECT_EQ((Extremes{1, 0}), extremesOf({5, 2, 2, 5, 3}));
}

TEST(Extremes, take_both_zeros_for_equal) {
  EXPECT_EQ((Extremes{0, 0}), extremesOf({0.0, -0.0}));
  EXPECT_EQ((Extremes{0, 0}), extremesOf({-0.0, 0.0}));
}

TEST(Extremes, may_be_infinite) {
  EXPECT_EQ((Extremes{3, 1}), extremesOf({1, kInfinity, kNan, -kInfinity}));
  EXPECT_EQ((Extremes{1, 1}), extremesOf({kNan, kInfinity}));
  EXPECT_EQ((Extremes{0, 0}), extremesOf({-kInfinity, -kInfinity}));
}

TEST(Extremes, of_gaps_alone_are_nothing) {
  EXPECT_EQ(std::nullopt, extremesOf({kNan, kNan}));
  EXPECT_EQ(std::nullopt, extremesOf(std::vector<double>(1000, kNan)));
}

TEST(Extremes, include_both_ends) {
  const std::vector<double> times{0, 1, 2, 3};
  const std::vector<double> values{9, 1, 2, -9};
  const Thinned thinned(times, values);
  EXPECT_EQ((Extremes{1, 2}), thinned.extremes(1, 2));
  EXPECT_EQ((Extremes{3, 0}), thinned.extremes(0, 3));
  EXPECT_EQ((Extremes{2, 2}), thinned.extremes(2, 2));
}

template <class Call>
std::string refusalOf(Call call) {
  try {
    call();
  } catch (const std::out_of_range& error) {
    return error.what();
  }
  return "";
}

TEST(Extremes, of_other_samples_are_refused) {
  const std::vector<double> times{0, 1};
  const Thinned thinned(times, times);
  EXPECT_EQ("there is no sample 2", refusalOf([&] { thinned.extremes(0, 2); }));
  EXPECT_EQ("there is no sample 2", refusalOf([&] { thinned.extremes(3, 2); }));
  EXPECT_EQ("sample 1 is after sample 0", refusalOf([&] { thinned.extremes(1, 0); }));
  EXPECT_EQ("there is no sample 0", refusalOf([] { Thinned({}, {}).extremes(0, 0); }));
}

}  // namespace
}  // namespace kvr::thinning::test
