// Reaches against a list of them, searched from end to end.
#include "compare/reaches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

struct Marked {
  Reach reach;
  std::size_t mark;
};

bool anyMeets(const std::vector<Marked>& all, double least, double most, std::size_t oldest) {
  return std::any_of(all.begin(), all.end(), [&](const Marked& one) {
    return one.mark >= oldest && one.reach.least <= most && least <= one.reach.most;
  });
}

TEST(Reaches, meet_what_a_list_of_them_meets) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    models::Random random(seed);
    const int range = random.oneOf<int>({3, 20, 1000});
    const auto value = [&] {
      if (random.percent(5)) return random.percent(50) ? infinity : -infinity;
      return static_cast<double>(random.below(2 * range) - range) / 2;
    };
    Reaches reaches;
    std::vector<Marked> all;
    std::size_t oldest = 0;
    for (std::size_t mark = 0; mark < 600; ++mark) {
      Reach reach{value(), value()};
      if (reach.isEmpty()) std::swap(reach.least, reach.most);
      reaches.lay(reach, mark, oldest);
      all.push_back({reach, mark});
      if (random.percent(50) && oldest < mark) ++oldest;
      double least = value();
      double most = random.percent(50) ? least : value();
      if (least > most) std::swap(least, most);
      ASSERT_EQ(reaches.meets(least, most, oldest), anyMeets(all, least, most, oldest))
          << "seed " << seed << " step " << mark;
    }
  }
}

TEST(Reaches, of_zero_hold_both_zeros) {
  Reaches reaches;
  reaches.lay({0.0, 0.0}, 0, 0);
  EXPECT_TRUE(reaches.meets(-0.0, -0.0, 0));
  EXPECT_FALSE(reaches.meets(5e-324, 5e-324, 0));
  EXPECT_FALSE(reaches.meets(-5e-324, -5e-324, 0));
}

TEST(Reaches, are_forgotten_when_cleared) {
  Reaches reaches;
  reaches.lay({1, 2}, 0, 0);
  reaches.clear();
  EXPECT_FALSE(reaches.meets(1, 2, 0));
}

}  // namespace
}  // namespace kvr::compare::test
