#include "tests/thinning/random_series.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>

namespace kvr::thinning::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double fraction(models::Random& random) { return random.below(1 << 20) / double{1 << 20}; }

std::vector<double> randomTimes(models::Random& random, std::size_t count) {
  const int sameTime = random.oneOf<int>({0, 0, 1, 50, 99});  // in a hundred samples
  const bool isEven = random.percent(50);
  const double scale = random.oneOf<double>({1.0, 1e-9, 1e6});
  double time = random.below(1000) - 500;
  std::vector<double> times(count);
  for (double& at : times) {
    at = time * scale;
    if (random.percent(sameTime)) continue;
    time += isEven ? 1.0 : fraction(random) * (random.percent(2) ? 300.0 : 1.0);
  }
  if (count > 3 && random.percent(10)) times.front() = -kInfinity;
  if (count > 3 && random.percent(10)) times.back() = times[count - 2] = kInfinity;
  return times;
}

std::vector<double> randomValues(models::Random& random, std::size_t count) {
  const int shape = random.below(4);
  const int gaps = random.oneOf<int>({0, 0, 1, 3, 60});  // begin or go on, in a hundred samples
  const int goesOn = random.oneOf<int>({0, 90, 99});     // in a hundred samples of a gap
  const int infinities = random.oneOf<int>({0, 0, 0, 1, 5});  // in a hundred samples
  double value = 0.0;
  bool isGap = random.percent(20);
  std::vector<double> values(count);
  for (double& at : values) {
    if (shape == 0) value += fraction(random) - 0.5;
    if (shape == 1) value = fraction(random);
    if (shape == 2) value = random.below(3) - 1;
    if (shape == 3) value = -0.0;
    at = random.percent(infinities) ? random.oneOf<double>({kInfinity, -kInfinity}) : value;
    isGap = random.percent(isGap ? goesOn : gaps);
    if (isGap) at = std::nan("");
  }
  return values;
}

double randomEnd(models::Random& random, const std::vector<double>& times) {
  if (times.empty() || random.percent(5))
    return random.oneOf<double>({-kInfinity, -1e9, 0.0, 1e9, kInfinity});
  const double time = random.oneOf(times);
  if (random.percent(50)) return time;
  return time + (fraction(random) - 0.5) * random.oneOf<double>({1e-9, 1.0, 1e6});
}

}  // namespace

Samples randomSamples(models::Random& random) {
  const auto count = static_cast<std::size_t>(
      random.oneOf<int>({0, 1, 2, 5, 63, 64, 65, 511, 513, random.below(20'001)}));
  std::vector<double> times = randomTimes(random, count);
  return {std::move(times), randomValues(random, count)};
}

Viewed randomWindow(models::Random& random, const Samples& samples) {
  const auto columns = static_cast<std::size_t>(
      random.oneOf<int>({1, 2, 3, 7, 20, 100, 1000, 1 + random.below(5000)}));
  if (random.percent(30)) return {-kInfinity, kInfinity, columns};
  const double one = randomEnd(random, samples.times);
  const double other = randomEnd(random, samples.times);
  return {std::min(one, other), std::max(one, other), columns};
}

std::string described(const Viewed& window) {
  std::ostringstream text;
  text.precision(17);
  text << window.first << " to " << window.last << " in " << window.columns << " columns";
  return text.str();
}

}  // namespace kvr::thinning::test
