// Samples counted up to given times: the kernels of every width against a search for each time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "compare/kernels.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Times that rise or stay, on few different places, so that many of two lists are equal.
std::vector<double> someTimes(models::Random& random, std::size_t count, int widest) {
  std::vector<double> times;
  double t = 0;
  for (std::size_t i = 0; i < count; ++i) {
    t += random.percent(2) ? 5 * widest : random.below(widest + 1);
    times.push_back(t);
  }
  return times;
}

template <class Check>
void forEveryWidth(Check check) {
  models::Random random(6);
  for (const Kernels* kernels : kernelsOfEveryWidth()) {
    for (int round = 0; round < 400; ++round) {
      check(*kernels, random, static_cast<std::size_t>(random.below(round % 4 == 0 ? 1025 : 90)));
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(Counting, finds_the_samples_at_or_before_each_time) {
  std::size_t atTimes = 0;
  std::size_t capped = 0;
  forEveryWidth([&](const Kernels& kernels, models::Random& random, std::size_t count) {
    const std::vector<double> times = someTimes(random, count, 1 + random.below(9));
    std::vector<double> samples =
        someTimes(random, 1 + static_cast<std::size_t>(random.below(1025)), 1 + random.below(9));
    const std::size_t most = samples.size() - 1;
    samples.insert(samples.end(), kLookAhead, random.percent(50) ? kInfinity : samples.back());
    const std::size_t from = count == 0 || samples[0] > times[0] ? 0 : 1;
    std::vector<std::uint32_t> passed(count);
    const std::size_t last = kernels.countUpTo(samples.data(), from, std::max(most, from),
                                               times.data(), count, passed.data());
    for (std::size_t k = 0; k < count; ++k) {
      const auto end = std::upper_bound(samples.begin(), samples.end(), times[k]);
      const auto all = static_cast<std::size_t>(end - samples.begin());
      const std::size_t expected = std::min(all, std::max(most, from));
      atTimes += all > 0 && samples[all - 1] == times[k] ? 1 : 0;
      capped += all > expected ? 1 : 0;
      EXPECT_EQ(passed[k], expected) << "time " << k << " of " << count;
    }
    EXPECT_EQ(last, count == 0 ? from : passed.back());
  });
  EXPECT_GT(atTimes, 1000U);
  EXPECT_GT(capped, 1000U);
}

// Times may be changed while they are counted: any order, and no number.
TEST(Counting, of_unordered_times_stays_between_its_limits) {
  forEveryWidth([](const Kernels& kernels, models::Random& random, std::size_t count) {
    const std::size_t most = 1 + static_cast<std::size_t>(random.below(1024));
    std::vector<double> samples(most + kLookAhead);
    std::vector<double> times(count);
    for (std::vector<double>* list : {&samples, &times}) {
      for (double& t : *list) {
        t = random.percent(10) ? random.oneOf<double>({std::nan(""), kInfinity, -kInfinity})
                               : random.below(100);
      }
    }
    std::vector<std::uint32_t> passed(count);
    const std::size_t last =
        kernels.countUpTo(samples.data(), 1, most, times.data(), count, passed.data());
    EXPECT_LE(last, most);
    EXPECT_GE(last, 1U);
    for (const std::uint32_t each : passed) {
      EXPECT_LE(each, most);
      EXPECT_GE(each, 1U);
    }
  });
}

}  // namespace
}  // namespace kvr::compare::test
