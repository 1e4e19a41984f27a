#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

// The other is judged at time 5 alone, against a baseline around it.
Verdict at5(const Signal& baseline, double value, Given given) {
  given.custom([](auto, auto) { return std::vector<double>{5}; });
  const Signal other{{baseline.times.front(), baseline.times.back()}, {value, value}};
  return judged(baseline, other, given);
}

std::size_t outAt5(const Signal& baseline, double value, const Given& given) {
  return at5(baseline, value, given).out;
}

const Signal kSteps{{0, 4, 5, 6, 10}, {0, 40, 50, 60, 100}};

TEST(TimeTolerance, held_values_are_met_at_samples_in_the_window_and_not_between) {
  const Given given = Given().within(1);
  for (const double met : {40.0, 50.0, 60.0}) EXPECT_EQ(outAt5(kSteps, met, given), 0U) << met;
  for (const double missed : {45.0, 39.9, 100.0}) {
    EXPECT_EQ(outAt5(kSteps, missed, given), 1U) << missed;
  }
}

TEST(TimeTolerance, the_window_is_closed) {
  EXPECT_EQ(outAt5(kSteps, 60, Given().within(1)), 0U);
  EXPECT_EQ(outAt5(kSteps, 60, Given().within(0.99)), 1U);
}

TEST(TimeTolerance, the_held_value_at_the_start_of_the_window_counts) {
  // At 4.5 the sample of 4 still holds; the one of 0 no longer does.
  EXPECT_EQ(outAt5(kSteps, 40, Given().within(0.5)), 0U);
  EXPECT_EQ(outAt5(kSteps, 0, Given().within(0.5)), 1U);
  EXPECT_EQ(outAt5(kSteps, 0, Given().within(1.5)), 0U);
}

TEST(TimeTolerance, linear_values_are_met_anywhere_between_the_candidates) {
  const Given given = Given().linear().within(1);
  for (const double met : {40.0, 45.0, 60.0}) EXPECT_EQ(outAt5(kSteps, met, given), 0U) << met;
  for (const double missed : {39.9, 60.1}) EXPECT_EQ(outAt5(kSteps, missed, given), 1U) << missed;
}

TEST(TimeTolerance, the_line_is_cut_at_the_ends_of_the_window) {
  // From 4.5 to 5.5 the line goes from 45 to 55.
  const Given given = Given().linear().within(0.5);
  EXPECT_EQ(outAt5(kSteps, 45, given), 0U);
  EXPECT_EQ(outAt5(kSteps, 44.9, given), 1U);
  EXPECT_EQ(outAt5(kSteps, 55, given), 0U);
  EXPECT_EQ(outAt5(kSteps, 55.1, given), 1U);
}

TEST(TimeTolerance, the_tolerance_adds_to_either_side_of_a_candidate) {
  EXPECT_EQ(outAt5(kSteps, 61, Given().within(1).absolute(1)), 0U);
  EXPECT_EQ(outAt5(kSteps, 61.1, Given().within(1).absolute(1)), 1U);
  EXPECT_EQ(outAt5(kSteps, 66, Given().within(1).relative(0.1)), 0U);  // 10 % of 60
  EXPECT_EQ(outAt5(kSteps, 67, Given().within(1).relative(0.1)), 1U);
}

TEST(TimeTolerance, the_window_is_cut_to_the_span_of_the_baseline) {
  const Signal baseline{{5, 6}, {1, 2}};
  Given given = Given().within(100).linear();
  EXPECT_EQ(outAt5(baseline, 2, given), 0U);
  EXPECT_EQ(outAt5(baseline, 0.9, given), 1U);
  EXPECT_EQ(outAt5(baseline, 2, Given().within(kInfinity)), 0U);
}

TEST(TimeTolerance, linear_pieces_end_at_events) {
  // At 5 the baseline jumps from 10 to 20: the jump itself is not passed through.
  const Signal jump{{4, 5, 5, 6}, {9, 10, 20, 21}};
  const Given given = Given().linear().within(1);
  for (const double met : {9.0, 9.5, 10.0, 20.0, 20.5, 21.0}) {
    EXPECT_EQ(outAt5(jump, met, given), 0U) << met;
  }
  for (const double missed : {15.0, 10.1, 19.9}) {
    EXPECT_EQ(outAt5(jump, missed, given), 2U) << missed;  // left and right
  }
}

TEST(TimeTolerance, a_whole_piece_between_two_events_in_the_window_counts) {
  const Signal jumps{{3, 4.5, 4.5, 5.5, 5.5, 7}, {0, 0, 10, 12, 30, 30}};
  const Given given = Given().linear().within(1);
  EXPECT_EQ(outAt5(jumps, 10, given), 0U);
  EXPECT_EQ(outAt5(jumps, 12, given), 0U);
  EXPECT_EQ(outAt5(jumps, 30, given), 0U);
  EXPECT_EQ(outAt5(jumps, 0, given), 0U);
  EXPECT_EQ(outAt5(jumps, 5, given), 1U);
  EXPECT_EQ(outAt5(jumps, 20, given), 1U);
}

TEST(TimeTolerance, of_an_event_the_first_and_the_last_sample_are_candidates_with_zoh_too) {
  const Signal jump{{4, 4.5, 4.5, 4.5, 6}, {1, 2, 3, 4, 5}};
  const Given given = Given().within(0.6);
  EXPECT_EQ(outAt5(jump, 2, given), 0U);
  EXPECT_EQ(outAt5(jump, 3, given), 1U);
  EXPECT_EQ(outAt5(jump, 4, given), 0U);
}

TEST(TimeTolerance, candidates_that_are_nan_are_left_out) {
  const Signal baseline{{4, 4.5, 5, 6}, {1, kNaN, 3, 4}};
  EXPECT_EQ(outAt5(baseline, 2, Given().linear().within(1)), 0U);  // from 1 to 4 all the same
  EXPECT_EQ(outAt5(baseline, 1, Given().within(0.5)), 1U);
}

TEST(TimeTolerance, lost_values_stay_out) {
  const Verdict verdict = at5(kSteps, kNaN, Given().within(100));
  EXPECT_EQ(verdict.lost, 1U);
  EXPECT_EQ(verdict.out, 1U);
}

TEST(TimeTolerance, an_infinite_value_needs_an_equal_candidate) {
  const Signal baseline{{4, 5, 6}, {1, 2, kInfinity}};
  EXPECT_EQ(outAt5(baseline, kInfinity, Given().within(1)), 0U);
  EXPECT_EQ(outAt5(baseline, -kInfinity, Given().within(1)), 1U);
  EXPECT_EQ(outAt5(baseline, kInfinity, Given().within(0.5)), 1U);
  EXPECT_EQ(outAt5({{4, 5, 6}, {1, 2, 3}}, kInfinity, Given().within(1).absolute(kInfinity)), 1U);
}

TEST(TimeTolerance, infinite_candidates_stand_without_tolerance) {
  const Signal baseline{{4, 5, 6}, {kInfinity, kInfinity, kInfinity}};
  EXPECT_EQ(outAt5(baseline, 7, Given().within(1).absolute(5)), 1U);
  // A piece from 1 to infinity holds all numbers from 1 - 0.5 on.
  const Signal rising{{4, 5, 6}, {1, 1, kInfinity}};
  EXPECT_EQ(outAt5(rising, 1e9, Given().linear().within(1).absolute(0.5)), 0U);
  EXPECT_EQ(outAt5(rising, 0.4, Given().linear().within(1).absolute(0.5)), 1U);
}

TEST(TimeTolerance, in_group_1_each_candidate_has_the_tolerance_of_its_own_time) {
  // k = floor(t): 4 allows 0.4 at time 4, 5 allows 0.5, 6 allows 0.6.
  Given given = Given().window(0, 100, 0).within(1);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.absStep = 0.125;
  const Signal baseline{{0, 4, 5, 6, 9}, {0, 40, 50, 60, 0}};
  EXPECT_EQ(outAt5(baseline, 40.5, given), 0U);  // 4 * 0.125
  EXPECT_EQ(outAt5(baseline, 40.6, given), 1U);
  EXPECT_EQ(outAt5(baseline, 60.75, given), 0U);  // 6 * 0.125
  EXPECT_EQ(outAt5(baseline, 60.8, given), 1U);
}

TEST(TimeTolerance, in_group_1_the_held_value_at_an_end_has_the_tolerance_of_that_end) {
  // 50 of time 5 still holds at the window's end 7, where 7 is allowed.
  Given given = Given().window(0, 100, 0).within(2);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.absStep = 1;
  const Signal baseline{{0, 5, 9}, {0, 50, 0}};
  EXPECT_EQ(outAt5(baseline, 57, given), 0U);
  EXPECT_EQ(outAt5(baseline, 57.1, given), 1U);
}

TEST(TimeTolerance, in_group_1_candidates_outside_its_window_are_left_out) {
  const Signal baseline{{0, 4, 5, 6, 9}, {0, 40, 50, 60, 0}};
  EXPECT_EQ(outAt5(baseline, 40, Given().window(4, 100).within(1)), 0U);
  EXPECT_EQ(outAt5(baseline, 40, Given().window(4.5, 100).within(1)), 1U);
  const Signal infinite{{0, 4, 5, 6, 9}, {0, kInfinity, 50, 60, 0}};
  EXPECT_EQ(outAt5(infinite, kInfinity, Given().window(4.5, 100).within(1)), 1U);
  EXPECT_EQ(outAt5(infinite, kInfinity, Given().window(4, 100).within(1)), 0U);
}

// At 5, 6 and 7 the absolute part is 1, 0 and -1.
Given steppingDown() {
  Given given = Given().window(0, 100, 6).within(2);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.absStep = -1;
  return given;
}

TEST(TimeTolerance, in_group_1_candidates_with_a_negative_tolerance_are_left_out) {
  // The relative part is 1/8, 0 and -1/8, of 8 at time 7: -1, as much as the absolute one.
  Given given = steppingDown();
  given.settings.tolerance.initRelTolVal = 0.75;
  given.settings.tolerance.relStep = -0.125;
  const Signal baseline{{0, 5, 6, 7, 9}, {50, 50, 50, 8, 8}};
  EXPECT_EQ(outAt5(baseline, 8, given), 1U);
  EXPECT_EQ(outAt5(baseline, 51, given), 0U);
}

TEST(TimeTolerance, in_group_1_a_part_of_0_keeps_the_tolerance_from_being_negative) {
  const Signal baseline{{0, 5, 6, 7, 9}, {50, 50, 50, 8, 8}};
  EXPECT_EQ(outAt5(baseline, 8, steppingDown()), 0U);  // max(-1, 0 * 8) is 0
  EXPECT_EQ(outAt5(baseline, 8.5, steppingDown()), 1U);
}

TEST(TimeTolerance, in_group_2_the_tolerance_of_the_instant_holds_for_all_candidates) {
  Given given =
      Given().within(1).function([](const AtInstants&) { return std::vector<double>{3}; });
  EXPECT_EQ(outAt5(kSteps, 63, given), 0U);
  EXPECT_EQ(outAt5(kSteps, 63.1, given), 1U);
  EXPECT_EQ(outAt5(kSteps, 37, given), 0U);
  EXPECT_EQ(outAt5(kSteps, 45, given), 1U);
  EXPECT_EQ(outAt5(kSteps, 45, given.linear()), 0U);
}

TEST(TimeTolerance, complex_signals_have_no_window) {
  const plain::Side baseline = complexSide({{1, 0}, {2, 0}, {1, 0}});
  const plain::Side other = complexSide({{1, 0}, {1, 0}, {1, 0}});
  EXPECT_EQ(judged(baseline, other, Given().within(10)).out, 1U);
}

TEST(TimeTolerance, forgiven_values_count_for_the_differences_all_the_same) {
  const Verdict verdict = at5(kSteps, 60, Given().within(1));
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.maxDifference, 10);
  EXPECT_EQ(verdict.rms, 10);
  EXPECT_EQ(verdict.maxRelative, 0.2);
}

TEST(TimeTolerance, every_component_has_candidates_of_its_own) {
  const plain::Side baseline = vectorSide({{1, 10}, {2, 20}, {3, 30}});
  const plain::Side other = vectorSide({{2, 20}, {3, 3}, {3, 30}});
  const Verdict verdict = judged(baseline, other, Given().within(1));
  EXPECT_EQ(verdict.out, 1U);
  EXPECT_EQ(verdict.worst->component, 1U);
}

// A square wave and a value halfway: every window is full of candidates, none of which is near.
TEST(TimeTolerance, a_window_of_any_width_is_searched_whole_and_no_further) {
  const std::size_t count = 4000;
  std::vector<double> wave(count);
  for (std::size_t i = 0; i < count; ++i) wave[i] = i % 2 == 0 ? 1.0 : -1.0;
  wave[2000] = 7;
  const std::vector<double> zeros(count, 0.0);
  const std::vector<double> sevens(count, 7.0);
  const std::vector<double> times = counting(count);
  for (const double w : {3.0, 40.0, 700.0, 5000.0}) {
    EXPECT_EQ(judged({times, wave}, {times, zeros}, Given().within(w)).out, count);
    // 7 is met from 2000 - w to 2000 + w.
    const std::size_t met = std::min<std::size_t>(2001, static_cast<std::size_t>(w) + 1) +
                            std::min<std::size_t>(1999, static_cast<std::size_t>(w));
    EXPECT_EQ(judged({times, wave}, {times, sevens}, Given().within(w)).out, count - met) << w;
  }
}

}  // namespace
}  // namespace kvr::compare::test
