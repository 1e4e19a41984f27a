#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

TEST(Union, takes_every_distinct_time_within_the_common_span) {
  const Aligned pair = aligned({{0, 1, 2, 4}, {1, 2, 3, 4}}, {{1, 1.5, 2, 3, 5}, {5, 6, 7, 8, 9}});
  EXPECT_THAT(pair.instants, ElementsAre(1, 1.5, 2, 3, 4));
}

TEST(Union, held_values_are_those_of_the_last_sample_so_far) {
  const Aligned pair = aligned({{0, 1, 2, 4}, {1, 2, 3, 4}}, {{1, 1.5, 2, 3, 5}, {5, 6, 7, 8, 9}});
  // At 1, 1.5, 2, 3 and 4.
  EXPECT_THAT(pair.baseline, ElementsAre(2, 2, 3, 3, 4));
  EXPECT_THAT(pair.other, ElementsAre(5, 6, 7, 8, 8));
}

TEST(Union, linear_values_lie_on_the_line_between_samples) {
  const Aligned pair =
      aligned({{0, 4}, {0, 8}}, {{0, 1, 3, 4}, {10, 20, 20, 40}}, Given().linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(pair.baseline, ElementsAre(0, 2, 6, 8));
  EXPECT_THAT(pair.other, ElementsAre(10, 20, 20, 40));
}

TEST(Union, minus_zero_and_zero_are_one_time) {
  const Aligned pair = aligned({{-0.0, 1}, {1, 2}}, {{0.0, 1}, {1, 2}});
  EXPECT_THAT(pair.instants, ElementsAre(0, 1));
  EXPECT_FALSE(std::signbit(pair.instants[0]));
}

TEST(Union, of_a_repeated_time_the_last_sample_is_held) {
  const Aligned pair = aligned({{0, 1, 1, 1, 2}, {1, 2, 3, 4, 5}}, {{0, 2}, {0, 0}});
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 2));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 4, 5));
}

TEST(Events, with_linear_make_two_instants_left_and_right) {
  // At 1 the baseline jumps from 2 to 4, the 3 between does not count; the other is at 0.5.
  const Aligned pair =
      aligned({{0, 1, 1, 1, 2}, {1, 2, 3, 4, 5}}, {{0, 2}, {0, 1}}, Given().linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 1, 2));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 4, 5));
  EXPECT_THAT(pair.other, ElementsAre(0, 0.5, 0.5, 1));
}

TEST(Events, of_either_side_pair_left_with_left_and_right_with_right) {
  const Aligned pair =
      aligned({{0, 1, 1, 2}, {1, 2, 3, 4}}, {{0, 1, 1, 1, 2}, {5, 6, 7, 8, 9}}, Given().linear());
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(pair.other, ElementsAre(5, 6, 8, 9));
}

TEST(Events, lines_run_from_the_right_value_to_the_left_value) {
  // Between 1 and 3 from 4 to 6: 5 at time 2.
  const Aligned pair =
      aligned({{0, 1, 1, 3, 3}, {1, 2, 4, 6, 0}}, {{0, 2, 3}, {0, 0, 0}}, Given().linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 1, 2, 3, 3));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 4, 5, 6, 0));
}

TEST(Events, at_the_ends_of_the_span_count) {
  const Aligned pair = aligned({{0, 0, 1, 1}, {1, 2, 3, 4}}, {{0, 1}, {5, 6}}, Given().linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 0, 1, 1));
  EXPECT_THAT(pair.other, ElementsAre(5, 5, 6, 6));
}

TEST(Linear, equal_ends_give_exactly_their_value) {
  // 0.1 + (0.1 - 0.1) * w would be 0.1 as well; with infinite ends the formula gives NaN.
  const Aligned pair =
      aligned({{0, 2}, {kInfinity, kInfinity}}, {{0, 1, 2}, {1, 1, 1}}, Given().linear());
  EXPECT_THAT(pair.baseline, ElementsAre(kInfinity, kInfinity, kInfinity));
}

TEST(Linear, no_line_leads_to_or_from_infinity_or_nan) {
  for (const double end : {kInfinity, -kInfinity, kNaN}) {
    const Signal probe{{0, 1, 2}, {1, 1, 1}};
    EXPECT_TRUE(std::isnan(aligned({{0, 2}, {5, end}}, probe, Given().linear()).baseline[1]));
    EXPECT_TRUE(std::isnan(aligned({{0, 2}, {end, 5}}, probe, Given().linear()).baseline[1]));
  }
  const Aligned pair =
      aligned({{0, 2}, {-kInfinity, kInfinity}}, {{0, 1, 2}, {1, 1, 1}}, Given().linear());
  EXPECT_TRUE(std::isnan(pair.baseline[1]));
}

TEST(Linear, a_complex_sample_with_one_part_nan_keeps_the_other_part) {
  const plain::Side side = complexSide({{1, 2}, {3, kNaN}, {5, 6}});
  Aligned pair;
  align(OwnedSeries(side).view, OwnedSeries({0, 1, 1, 2}, {0, 0, 0, 0}).view,
        Given().linear().settings, {}, pair);
  EXPECT_THAT(pair.baseline, ElementsAre(1, 3, 3, 5));
}

TEST(Linear, is_computed_as_written_without_fusing) {
  // (0.1 - 0) / (0.3 - 0) = 0x1.5555555555556p-2 rounded, times 0.7 - 0.1, plus 0.1, each rounded.
  const volatile double weight = 0.1 / 0.3;
  const volatile double rise = 0.7 - 0.1;
  const volatile double product = rise * weight;
  const double expected = 0.1 + product;
  const Aligned pair =
      aligned({{0, 0.3}, {0.1, 0.7}}, {{0, 0.1, 0.3}, {1, 1, 1}}, Given().linear());
  EXPECT_EQ(pair.baseline[1], expected);
}

TEST(CommonSpan, of_one_time_has_one_instant) {
  EXPECT_THAT(aligned({{0, 1}, {1, 2}}, {{1, 2}, {2, 3}}).instants, ElementsAre(1));
  EXPECT_THAT(aligned({{0, 1}, {1, 2}}, {{1, 2}, {2, 3}}, Given().linear()).instants,
              ElementsAre(1));
}

TEST(Intersection, takes_the_times_that_stand_in_both) {
  const Aligned pair = aligned({{-0.0, 1, 2, 2, 4}, {1, 2, 3, 4, 5}},
                               {{0, 0.5, 2, 4, 5}, {6, 7, 8, 9, 10}}, Given().intersection());
  EXPECT_THAT(pair.instants, ElementsAre(0, 2, 4));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 4, 5));
  EXPECT_THAT(pair.other, ElementsAre(6, 8, 9));
}

TEST(Intersection, with_linear_has_two_instants_at_an_event) {
  const Aligned pair =
      aligned({{0, 2, 2}, {1, 3, 4}}, {{0, 2}, {6, 8}}, Given().intersection().linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 2, 2));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 3, 4));
  EXPECT_THAT(pair.other, ElementsAre(6, 8, 8));
}

TEST(Intersection, baseline_times_that_the_other_lacks_are_not_uncovered) {
  const Verdict verdict = judged({{0, 1, 2}, {1, 9, 3}}, {{0, 2}, {1, 3}}, Given().intersection());
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.instants, 2U);
  EXPECT_EQ(verdict.uncovered, 0U);
}

TEST(Intersection, with_a_time_tolerance_pairs_near_times_at_the_time_of_the_baseline) {
  // 0 meets 0.25; 1 lies 0.75 after that and 0.5 before 1.5, meets it; 3 meets nothing; 4
  // meets 4.25, beyond the common span.
  const Aligned pair = aligned({{0, 1, 3, 4}, {1, 2, 3, 4}}, {{0.25, 1.5, 4.25}, {1, 2, 4}},
                               Given().intersection().within(0.5));
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 4));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 4));
  EXPECT_THAT(pair.other, ElementsAre(1, 2, 4));
}

TEST(Intersection, with_a_time_tolerance_uses_each_time_once) {
  // Both 0 and 0.25 are near 0.1; the first takes it.
  const Aligned pair =
      aligned({{0, 0.25, 1}, {1, 1, 1}}, {{0.1, 1}, {1, 1}}, Given().intersection().within(0.5));
  EXPECT_THAT(pair.instants, ElementsAre(0, 1));
}

TEST(Intersection, without_a_common_span_has_no_instants_however_near) {
  const Verdict verdict =
      judged({{0, 1}, {1, 1}}, {{1.25, 2}, {1, 1}}, Given().intersection().within(0.5).common());
  EXPECT_EQ(verdict.instants, 0U);
  EXPECT_EQ(verdict.reason, Reason::kNothingCompared);
}

TEST(Uniform, steps_from_the_start_of_the_common_span_to_its_end) {
  const Aligned pair = aligned({{0, 1, 3}, {1, 2, 4}}, {{0.5, 9}, {1, 1}}, Given().uniform(1));
  EXPECT_THAT(pair.instants, ElementsAre(0.5, 1.5, 2.5));
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 2));
}

TEST(Uniform, multiplies_rather_than_adds_up) {
  // 3 * 0.1 is 0x1.3333333333334p-2, above 0.3.
  const Aligned pair = aligned({{0, 1}, {1, 1}}, {{0, 1}, {1, 1}}, Given().uniform(0.1));
  ASSERT_EQ(pair.instants.size(), 11U);
  EXPECT_EQ(pair.instants[3], 0x1.3333333333334p-2);
  EXPECT_EQ(pair.instants[10], 1.0);
}

TEST(Uniform, grid_times_that_come_out_equal_count_once) {
  // From 2^53 on in steps of 0.5 there are only even numbers: 2^53 + 1 rounds to 2^53,
  // 2^53 + 1.5 to 2^53 + 2, and 2^53 + 2.5 too.
  const double start = 9007199254740992.0;
  const Signal signal{{start, start + 2}, {1, 1}};
  EXPECT_THAT(aligned(signal, signal, Given().uniform(0.5)).instants,
              ElementsAre(start, start + 2));
}

TEST(Uniform, with_linear_has_two_instants_where_a_grid_time_meets_an_event) {
  const Aligned pair =
      aligned({{0, 1, 1, 2}, {0, 1, 5, 6}}, {{0, 2}, {0, 2}}, Given().uniform(1).linear());
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 1, 2));
  EXPECT_THAT(pair.baseline, ElementsAre(0, 1, 5, 6));
}

TEST(Custom, instants_outside_the_span_are_dropped_and_equal_ones_count_once) {
  const Given given = Given().custom(
      [](auto, auto) { return std::vector<double>{-1, 0.5, 0.5, -0.0 + 1, 1.5, 7}; });
  EXPECT_THAT(aligned({{0, 1}, {1, 2}}, {{0, 9}, {1, 2}}, given).instants, ElementsAre(0.5, 1));
}

TEST(Custom, the_function_gets_both_time_vectors_as_doubles) {
  plain::Side baseline = sideOf({0, 1, 2}, {1, 2, 3});
  Layout integers;
  integers.numericClass = NumericClass::kInt16;
  const OwnedSeries f(baseline, integers);
  const OwnedSeries g({0, 2, 2.5}, {1, 2, 3});
  Given given = Given().custom([](std::span<const double> tf, std::span<const double> tg) {
    EXPECT_THAT(std::vector<double>(tf.begin(), tf.end()), ElementsAre(0, 1, 2));
    EXPECT_THAT(std::vector<double>(tg.begin(), tg.end()), ElementsAre(0, 2, 2.5));
    return std::vector<double>{1};
  });
  EXPECT_EQ(compare(f.view, g.view, given.settings).instants, 1U);
}

TEST(Blocks, series_about_as_long_as_a_block_have_all_their_instants) {
  for (const bool isLinear : {false, true}) {
    for (std::size_t count = 1020; count <= 1030; ++count) {
      const std::vector<double> times = counting(count);
      std::vector<double> between = times;
      for (double& t : between) t += 0.5;
      const std::vector<double> values(count, 1.0);
      Given given = Given().common();
      if (isLinear) given.linear();
      EXPECT_EQ(judged({times, values}, {times, values}, given).instants, count);
      // Common from 0.5 to count - 1: one time less of either side.
      EXPECT_EQ(judged({times, values}, {between, values}, given).instants, 2 * count - 2);
    }
  }
}

}  // namespace
}  // namespace kvr::compare::test
