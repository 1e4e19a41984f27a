// Random pairs against the plain model. `compare_random_test --pairs=N --seed=S` runs longer;
// `--only=I` repeats one pair of a seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

#include "tests/compare/random_pair.h"
#include "tests/models/random.h"

namespace kvr::compare::test {
namespace {

std::uint64_t pairs = 10'000;
std::uint64_t seed = 1;
std::uint64_t only = 0;

void expectAgreement(std::uint64_t number) {
  models::Random random(seed * 1'000'003 + number);
  const RandomPair pair = randomPair([&](int count) { return random.below(count); });
  const std::string text = disagreement(pair);
  ASSERT_EQ(text, "") << "seed " << seed << " pair " << number;
}

TEST(RandomPairs, get_the_verdict_of_the_plain_model) {
  std::cout << "seed " << seed << ", pairs " << pairs << std::endl;
  if (only > 0) return expectAgreement(only);
  for (std::uint64_t i = 1; i <= pairs; ++i) {
    ASSERT_NO_FATAL_FAILURE(expectAgreement(i));
  }
}

// A test of the test: were all pairs refused or alike, agreement would say little.
TEST(RandomPairs, come_to_every_status_and_reason_they_can) {
  std::map<std::string, int> seen;
  for (std::uint64_t i = 1; i <= 10'000; ++i) {
    models::Random random(seed * 1'000'003 + i);
    const RandomPair pair = randomPair([&](int count) { return random.below(count); });
    const Verdict verdict = plain::judge(pair.baseline, pair.other, pair.settings, pair.options);
    ++seen[nameOf(verdict.status) + std::string(nameOf(verdict.reason))];
    seen["lost"] += verdict.lost > 0 ? 1 : 0;
    seen["several intervals"] += verdict.intervalsTotal > 1 ? 1 : 0;
    if (pair.options.timeTolerance > 0) {
      Options plainly = pair.options;
      plainly.timeTolerance = 0;
      const Verdict without = plain::judge(pair.baseline, pair.other, pair.settings, plainly);
      const bool sameInstants = without.instants == verdict.instants;
      seen["forgiven"] += sameInstants && verdict.out < without.out ? 1 : 0;
    }
  }
  for (const char* outcome :
       {"within", "out", "incomparablebad-time", "incomparableshape-differs",
        "incomparablebad-settings", "incomparableno-function", "incomparablefunction-failed",
        "incomparablenothing-compared", "lost", "several intervals", "forgiven"}) {
    EXPECT_GE(seen[outcome], 20) << outcome;
  }
}

std::uint64_t numberAfter(const std::string& argument, const std::string& option,
                          std::uint64_t otherwise) {
  return argument.rfind(option, 0) == 0
             ? std::strtoull(argument.c_str() + option.size(), nullptr, 10)
             : otherwise;
}

}  // namespace

void readArguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    pairs = numberAfter(argv[i], "--pairs=", pairs);
    seed = numberAfter(argv[i], "--seed=", seed);
    only = numberAfter(argv[i], "--only=", only);
  }
}

}  // namespace kvr::compare::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  kvr::compare::test::readArguments(argc, argv);
  return RUN_ALL_TESTS();
}
