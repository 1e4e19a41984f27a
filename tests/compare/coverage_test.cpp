#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

const Signal kShort{{2, 3, 4}, {1, 1, 1}};
const Signal kLong{{0, 1, 2, 3, 4, 5}, {1, 1, 1, 1, 1, 1}};

TEST(Coverage, baseline_samples_outside_the_common_span_make_the_pair_out) {
  const Verdict verdict = judged(kLong, kShort);  // 0, 1 and 5
  EXPECT_EQ(verdict.status, Status::kOut);
  EXPECT_EQ(verdict.uncovered, 3U);
  EXPECT_EQ(verdict.out, 0U);
  EXPECT_FALSE(verdict.firstOut);
}

TEST(Coverage, common_counts_them_only) {
  const Verdict verdict = judged(kLong, kShort, Given().common());
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.uncovered, 3U);
}

TEST(Coverage, samples_of_the_other_outside_the_span_are_beyond_and_never_fail) {
  const Verdict verdict = judged(kShort, {{0, 1, 2, 3, 4, 5}, {kNaN, 1, 1, 1, 1, 1}});
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.beyond, 3U);
}

TEST(Coverage, samples_without_a_number_need_no_cover) {
  plain::Side baseline = vectorSide({{kNaN, kNaN}, {kNaN, 1}, {1, 1}, {1, 1}});
  plain::Side other = baseline;
  other.times = {2, 3};
  other.samples = {{1, 1}, {1, 1}};
  EXPECT_EQ(judged(baseline, other).uncovered, 1U);  // the second: one component is a number
  plain::Side complexBaseline = complexSide({{1, kNaN}, {kNaN, 1}, {1, 1}, {1, 1}});
  plain::Side complexOther = complexSide({{1, 1}, {1, 1}});
  complexOther.times = {2, 3};
  EXPECT_EQ(judged(complexBaseline, complexOther).uncovered, 0U);
}

TEST(Coverage, infinite_samples_are_numbers) {
  EXPECT_EQ(judged({{0, 1}, {kInfinity, 1}}, {{1, 2}, {1, 1}}).uncovered, 1U);
}

TEST(Coverage, every_sample_of_a_repeated_time_counts) {
  EXPECT_EQ(judged({{0, 0, 0, 1}, {1, 2, 3, 1}}, {{1, 2}, {1, 1}}).uncovered, 3U);
}

TEST(Coverage, only_samples_in_the_window_of_group_1_count) {
  const Verdict verdict = judged(kLong, kShort, Given().window(1, 4));
  EXPECT_EQ(verdict.uncovered, 1U);  // 1, but not 0 and 5
}

TEST(Coverage, without_a_common_span_every_sample_is_outside) {
  const Verdict verdict = judged({{0, 1}, {1, 1}}, {{5, 6, 7}, {1, 1, 1}}, Given().within(100));
  EXPECT_EQ(verdict.uncovered, 2U);
  EXPECT_EQ(verdict.beyond, 3U);
  EXPECT_EQ(verdict.status, Status::kOut);
}

TEST(Coverage, an_other_side_without_samples_covers_nothing) {
  EXPECT_EQ(judged({{0, 1, 2}, {1, kNaN, 1}}, {}).uncovered, 2U);
}

TEST(Coverage, a_baseline_of_gaps_alone_is_not_out_but_nothing_was_compared) {
  EXPECT_EQ(judged({{0, 1}, {kNaN, kNaN}}, {}).reason, Reason::kNothingCompared);
  EXPECT_EQ(judged({{0, 1}, {kNaN, kNaN}}, {{0, 1}, {kNaN, kNaN}}).status, Status::kWithin);
}

TEST(Coverage, samples_within_the_time_tolerance_of_the_span_are_covered) {
  // The span is 2 to 4: 1 and 5 are 1 away, 0 is 2 away.
  EXPECT_EQ(judged(kLong, kShort, Given().within(1)).uncovered, 1U);
  EXPECT_EQ(judged(kLong, kShort, Given().within(0.9)).uncovered, 3U);
  EXPECT_EQ(judged(kLong, kShort, Given().within(2)).uncovered, 0U);
}

TEST(Coverage, beyond_knows_no_time_tolerance) {
  EXPECT_EQ(judged(kShort, kLong, Given().within(1)).beyond, 3U);
}

}  // namespace
}  // namespace kvr::compare::test
