// The kernels of every width against loops over single numbers, at every length about the widths,
// from every place in a vector.
#include "compare/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kGreatest = std::numeric_limits<double>::max();

std::vector<std::size_t> lengths() {
  std::vector<std::size_t> lengths;
  for (std::size_t count = 0; count <= 35; ++count) lengths.push_back(count);
  lengths.insert(lengths.end(), {1023, 1024});
  return lengths;
}

// Values that show: few that are NaN, infinite, 0, tiny or huge, and none of them in some arrays.
std::vector<double> someValues(models::Random& random, std::size_t count, bool isWild) {
  std::vector<double> values(count);
  for (double& value : values) {
    value = random.below(1000) / 8.0;
    if (isWild && random.percent(3)) {
      value = random.oneOf<double>({std::nan(""), kInfinity, 0.0, 5e-324, 1e-200, 1e200, 1e308});
    }
  }
  return values;
}

// The definition, one number after the other.
Facts plainly(const DifferenceArrays& from, std::size_t count, double quotient, LaneSums& sums) {
  Facts facts;
  for (std::size_t i = 0; i < count; ++i) {
    const double d = from.difference[i];
    const bool isFinite = d <= kGreatest;
    facts.anyUnfit = facts.anyUnfit || !isFinite || !(d <= from.tolerance[i]);
    if (!isFinite) continue;
    ++facts.finite;
    sums[i % kLanes] += d * d;
    facts.most = std::max(facts.most, d);
    facts.anyFar = facts.anyFar || d > 0x1p480 || (d > 0 && d < 0x1p-480);
    facts.mayRaise = facts.mayRaise || d / from.size[i] > quotient;
  }
  return facts;
}

void expectSame(const Facts& expected, const LaneSums& expectedSums, const Facts& found,
                const LaneSums& sums) {
  EXPECT_EQ(expected.most, found.most);
  EXPECT_EQ(expected.finite, found.finite);
  EXPECT_EQ(expected.anyUnfit, found.anyUnfit);
  EXPECT_EQ(expected.anyFar, found.anyFar);
  EXPECT_LE(expected.mayRaise, found.mayRaise);  // it may be said in vain, never missed
  for (std::size_t s = 0; s < kLanes; ++s) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(expectedSums[s]), std::bit_cast<std::uint64_t>(sums[s]));
  }
}

template <class Check>
void forEveryWidthLengthAndOffset(Check check) {
  models::Random random(1);
  for (const Kernels* kernels : kernelsOfEveryWidth()) {
    for (const std::size_t count : lengths()) {
      for (std::size_t offset = 0; offset < kLanes; ++offset) {
        check(*kernels, random, count, offset);
        if (testing::Test::HasFailure()) return;
      }
    }
  }
}

TEST(Kernels, of_some_width_run_on_every_machine) {
  ASSERT_FALSE(kernelsOfEveryWidth().empty());
  EXPECT_EQ(&kernels(), kernelsOfEveryWidth().back());
}

TEST(Kernels, measure_differences_as_one_by_one) {
  std::size_t fit = 0;
  std::size_t unfit = 0;
  forEveryWidthLengthAndOffset(
      [&](const Kernels& kernels, models::Random& random, std::size_t count, std::size_t offset) {
        const bool isWild = random.percent(50);
        const auto difference = someValues(random, count + offset, isWild);
        const auto size = someValues(random, count + offset, isWild);
        std::vector<double> tolerance(count + offset, isWild ? 60.0 : 125.0);
        const double quotient = random.oneOf<double>({-1.0, 0.0, 1.5});
        const DifferenceArrays from{difference.data() + offset, size.data() + offset,
                                    tolerance.data() + offset};
        LaneSums expectedSums{0, 1, 2, 3, 4, 5, 6, 7};
        LaneSums sums = expectedSums;
        const Facts expected = plainly(from, count, quotient, expectedSums);
        expectSame(expected, expectedSums, kernels.measureDifferences(from, count, quotient, sums),
                   sums);
        ++(expected.anyUnfit ? unfit : fit);
      });
  EXPECT_GT(fit, 100U);
  EXPECT_GT(unfit, 100U);
}

TEST(Kernels, measure_values_as_their_differences) {
  forEveryWidthLengthAndOffset(
      [&](const Kernels& kernels, models::Random& random, std::size_t count, std::size_t offset) {
        const bool isWild = random.percent(50);
        const auto a = someValues(random, count + offset, isWild);
        const auto b = someValues(random, count + offset, isWild);
        const ValueArrays from{a.data() + offset, b.data() + offset, 30.0, 0.75};
        std::vector<double> difference(count);
        std::vector<double> size(count);
        std::vector<double> tolerance(count);
        for (std::size_t i = 0; i < count; ++i) {
          difference[i] = std::abs(from.a[i] - from.b[i]);
          size[i] = std::abs(from.a[i]);
          const double relative = 0.75 * size[i];
          tolerance[i] = relative > 30.0 ? relative : 30.0;
        }
        LaneSums expectedSums{};
        LaneSums sums{};
        const Facts expected =
            plainly({difference.data(), size.data(), tolerance.data()}, count, 0.5, expectedSums);
        expectSame(expected, expectedSums, kernels.measureValues(from, count, 0.5, sums), sums);
      });
}

TEST(Kernels, find_a_tie_and_a_fall_wherever_they_stand) {
  forEveryWidthLengthAndOffset(
      [](const Kernels& kernels, models::Random& random, std::size_t count, std::size_t offset) {
        std::vector<double> times(count + offset);
        for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<double>(i);
        const double* const from = times.data() + offset;
        EXPECT_EQ(kernels.orderOf(from, count), Order::kRises);
        if (count < 2) return;
        const std::size_t place =
            1 + static_cast<std::size_t>(random.below(static_cast<int>(count) - 1));
        double& time = times[offset + place];
        time = from[place - 1];
        EXPECT_EQ(kernels.orderOf(from, count), Order::kTies);
        time = std::nextafter(time, -kInfinity);
        EXPECT_EQ(kernels.orderOf(from, count), Order::kFalls);
        time = std::nan("");
        EXPECT_EQ(kernels.orderOf(from, count), Order::kFalls);
      });
}

}  // namespace
}  // namespace kvr::compare::test
