// The values of a side at given times: the kernels of every width against single numbers, at every
// length about the widths.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "compare/kernels.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A window of samples, and times from the first sample to the last that may be used.
struct Window {
  std::vector<double> times, values, instants;
  std::vector<std::uint32_t> passed;  // samples at or before each instant
};

// `perSample`: how many instants fall between two samples, about.
Window someWindow(models::Random& random, std::size_t instants, double perSample) {
  Window window;
  const auto samples = static_cast<std::size_t>(static_cast<double>(instants) / perSample) + 2;
  double t = -3;
  for (std::size_t i = 0; i < samples + kLookAhead; ++i) {
    t += 0.25 * (1 + random.below(8));
    window.times.push_back(t);
    window.values.push_back(
        random.percent(15) ? random.oneOf<double>({kNaN, kInfinity, -kInfinity, 1e308, -1e308, 0.0})
                           : random.below(100) / 8.0);
    if (random.percent(10) && i > 0) window.values[i] = window.values[i - 1];
  }
  const double first = window.times[0];
  const double length = window.times[samples - 1] - first;
  for (std::size_t k = 0; k < instants; ++k) {
    const double share =
        (static_cast<double>(k) + random.below(100) / 100.0) / static_cast<double>(instants);
    window.instants.push_back(first + length * share);
  }
  const auto passedAt = [&](double instant) {
    return std::upper_bound(window.times.begin(), window.times.end(), instant) -
           window.times.begin();
  };
  for (double& instant : window.instants) {  // a third of them at samples
    if (random.percent(33)) instant = window.times[static_cast<std::size_t>(passedAt(instant)) - 1];
    window.passed.push_back(static_cast<std::uint32_t>(passedAt(instant)));
  }
  return window;
}

std::string bitsOf(double value) {
  return std::isnan(value) ? "NaN" : std::to_string(std::bit_cast<std::uint64_t>(value));
}

template <class Check>
void forEveryWindow(Check check) {
  models::Random random(3);
  for (const Kernels* kernels : kernelsOfEveryWidth()) {
    for (const double perSample : {0.02, 0.4, 0.7, 1.0, 2.0, 30.0}) {
      for (std::size_t count = 0; count <= 40; ++count) {
        check(*kernels, someWindow(random, count, perSample));
        if (testing::Test::HasFailure()) return;
      }
    }
  }
}

TEST(Sampling, on_lines_gives_what_the_formula_gives_at_each_time) {
  std::size_t atSamples = 0;
  std::size_t notNumbers = 0;
  forEveryWindow([&](const Kernels& kernels, const Window& window) {
    const std::size_t count = window.instants.size();
    std::vector<double> values(count);
    kernels.linearAt({window.times.data(), window.values.data()}, window.instants.data(),
                     window.passed.data(), count, values.data());
    for (std::size_t k = 0; k < count; ++k) {
      const std::size_t right = window.passed[k];
      const double t = window.instants[k];
      const double before = window.times[right - 1];
      const double a = window.values[right - 1];
      const double b = window.values[right];
      double expected = a;
      if (t != before && a != b) {
        expected = a + (b - a) * ((t - before) / (window.times[right] - before));
        if (std::isinf(a) || std::isinf(b)) expected = kNaN;
      }
      atSamples += t == before ? 1 : 0;
      notNumbers += std::isnan(expected) ? 1 : 0;
      EXPECT_EQ(bitsOf(values[k]), bitsOf(expected)) << a << " to " << b << ", instant " << k;
    }
  });
  EXPECT_GT(atSamples, 1000U);
  EXPECT_GT(notNumbers, 1000U);
}

TEST(Sampling, held_gives_the_last_sample) {
  forEveryWindow([&](const Kernels& kernels, const Window& window) {
    const std::size_t count = window.instants.size();
    std::vector<double> values(count);
    kernels.heldAt(window.values.data(), window.passed.data(), count, values.data());
    for (std::size_t k = 0; k < count; ++k) {
      EXPECT_EQ(bitsOf(values[k]), bitsOf(window.values[window.passed[k] - std::size_t{1}]));
    }
  });
}

// Times that were changed while they were read can lead to any numbers within the window.
TEST(Sampling, reads_no_further_than_the_window_wherever_the_times_seem_to_lie) {
  models::Random random(4);
  for (const Kernels* kernels : kernelsOfEveryWidth()) {
    for (int round = 0; round < 2000; ++round) {
      const int last = 1 + random.below(60);
      const std::vector<double> samples(static_cast<std::size_t>(last) + kLookAhead, 1.0);
      std::vector<std::uint32_t> passed(24);
      for (auto& each : passed) each = static_cast<std::uint32_t>(1 + random.below(last));
      const std::vector<double> instants(passed.size(), 1.0);
      std::vector<double> values(passed.size());
      kernels->linearAt({samples.data(), samples.data()}, instants.data(), passed.data(),
                        passed.size(), values.data());
      EXPECT_EQ(values, instants);
      kernels->heldAt(samples.data(), passed.data(), passed.size(), values.data());
      EXPECT_EQ(values, instants);
    }
  }
}

}  // namespace
}  // namespace kvr::compare::test
