#include <cmath>

#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

TEST(Counts, add_up_to_instants_times_components) {
  const plain::Side baseline = vectorSide({{1, kNaN}, {kNaN, 2}, {1, 1}, {1, 1}});
  const plain::Side other = vectorSide({{1, kNaN}, {3, kNaN}, {kNaN, 5}, {1, 1}});
  const Verdict verdict = judged(baseline, other, Given().window(0, 2));
  EXPECT_EQ(verdict.instants, 4U);
  EXPECT_EQ(verdict.judged, 4U);  // 1, 2, 1, 1
  EXPECT_EQ(verdict.gained, 1U);
  EXPECT_EQ(verdict.gaps, 1U);
  EXPECT_EQ(verdict.outside, 2U);
  EXPECT_EQ(verdict.lost, 2U);
  EXPECT_EQ(verdict.out, 3U);
  EXPECT_EQ(verdict.instantsOut, 2U);
}

TEST(FirstAndLast, are_the_times_of_the_first_and_the_last_value_out) {
  const Verdict verdict = judgedValues({1, 1, 1, 1, 1}, {1, 2, 1, kNaN, 1});
  EXPECT_EQ(verdict.firstOut, 1.0);
  EXPECT_EQ(verdict.lastOut, 3.0);
  EXPECT_EQ(verdict.first->other, 2.0);
}

TEST(FirstAndLast, are_absent_if_nothing_is_out) {
  const Verdict verdict = judgedValues({1}, {1});
  EXPECT_FALSE(verdict.firstOut || verdict.lastOut || verdict.worst || verdict.first);
}

TEST(Worst, is_the_value_furthest_beyond_its_tolerance) {
  // Allowed 10, 1 and 0.1: beyond by 5, 6 and 5.9. The largest difference is not the worst.
  const Verdict verdict = judgedValues({100, 10, 1}, {115, 17, 7}, Given().relative(0.1));
  EXPECT_EQ(verdict.worst->time, 1);
  EXPECT_EQ(verdict.worst->difference, 7);
  EXPECT_EQ(verdict.worst->tolerance, 1);
  EXPECT_EQ(verdict.worst->baseline, 10.0);
  EXPECT_EQ(verdict.worst->other, 17.0);
}

TEST(Worst, of_equals_is_the_earliest_then_the_lowest_component) {
  const plain::Side baseline = vectorSide({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}});
  const plain::Side other = vectorSide({{0, 1, 1}, {0, 2, 2}, {2, 2, 2}});
  const Verdict verdict = judged(baseline, other);
  EXPECT_EQ(verdict.worst->time, 1);
  EXPECT_EQ(verdict.worst->component, 1U);
}

TEST(Worst, lost_and_infinite_values_rank_above_all_others_and_are_equals) {
  const Verdict lostFirst = judgedValues({1, 1, 1, 1}, {1e300, kNaN, kInfinity, 5});
  EXPECT_EQ(lostFirst.worst->time, 1);
  EXPECT_TRUE(std::isnan(lostFirst.worst->difference));
  EXPECT_EQ(lostFirst.worst->tolerance, 0);
  const Verdict infiniteFirst = judgedValues({1, 1, 1, 1}, {1e300, kInfinity, kNaN, 5});
  EXPECT_EQ(infiniteFirst.worst->time, 1);
  EXPECT_EQ(infiniteFirst.worst->difference, kInfinity);
}

TEST(Worst, has_no_tolerance_where_the_baseline_is_infinite) {
  const Verdict verdict = judgedValues({kInfinity}, {1}, Given().absolute(3));
  EXPECT_TRUE(std::isnan(verdict.worst->tolerance));
}

TEST(MaxDifference, is_the_earliest_of_the_greatest_and_ignores_what_is_not_finite) {
  const Verdict verdict =
      judgedValues({1, 1, 1, 1, 1}, {1, kInfinity, 3, -1, kNaN}, Given().absolute(9));
  EXPECT_EQ(verdict.maxDifference, 2);
  EXPECT_EQ(verdict.maxDifferenceTime, 2.0);
}

TEST(MaxDifference, without_a_finite_difference_is_0_at_no_time) {
  const Verdict verdict = judgedValues({1, kNaN}, {kInfinity, 5});
  EXPECT_EQ(verdict.maxDifference, 0);
  EXPECT_FALSE(verdict.maxDifferenceTime);
  EXPECT_FALSE(verdict.maxRelativeTime);
  EXPECT_EQ(verdict.rms, 0);
}

TEST(MaxDifference, of_0_stands_at_the_first_judged_time) {
  const Verdict verdict = judgedValues({kNaN, 1, 1}, {1, 1, 1});
  EXPECT_EQ(verdict.maxDifferenceTime, 1.0);
  EXPECT_EQ(verdict.maxRelativeTime, 1.0);
}

TEST(MaxRelative, leaves_out_baselines_of_0_and_infinite_ones) {
  // 5 / 0 is left out; 1 / 4 and 2 / 8 are equal, the earlier counts.
  const Verdict verdict =
      judgedValues({0, 4, 8, kInfinity}, {5, 5, 10, kInfinity}, Given().absolute(9));
  EXPECT_EQ(verdict.maxRelative, 0.25);
  EXPECT_EQ(verdict.maxRelativeTime, 1.0);
  EXPECT_EQ(verdict.maxDifference, 5);
}

TEST(MaxRelative, may_lie_elsewhere_than_the_greatest_difference) {
  const Verdict verdict = judgedValues({100, 1}, {110, 2}, Given().absolute(20));
  EXPECT_EQ(verdict.maxDifferenceTime, 0.0);
  EXPECT_EQ(verdict.maxRelative, 1);
  EXPECT_EQ(verdict.maxRelativeTime, 1.0);
}

TEST(MaxRelative, of_complex_values_is_relative_to_the_modulus) {
  // 1 / 5, and 2 / 20.
  const Verdict verdict =
      judged(complexSide({{3, 4}, {12, 16}}), complexSide({{3, 5}, {14, 16}}), Given().absolute(9));
  EXPECT_EQ(verdict.maxRelative, 0.2);
  EXPECT_EQ(verdict.maxRelativeTime, 0.0);
  EXPECT_EQ(verdict.maxDifferenceTime, 1.0);
}

TEST(Rms, is_the_root_of_the_mean_square_of_finite_differences) {
  // 3, 4, 0 and 5 of four judged values: sqrt(50 / 4). The lost and the infinite one do not count.
  const Verdict verdict =
      judgedValues({0, 0, 0, 0, 0, 0}, {3, -4, 0, 5, kNaN, kInfinity}, Given().absolute(9));
  EXPECT_EQ(verdict.rms, std::sqrt(12.5));
}

TEST(Rms, adds_in_the_documented_order) {
  // The squares go to sums 0 to 7, the ninth to sum 0 again. 1 + 2^-53 rounds to 1, so that the
  // order shows: sum 0 is 1 + 2^-53 = 1 (value 0 and value 8), sums 1 and 2 hold 2^-53 each.
  std::vector<double> differences(9, 0.0);
  const double small = 0x1p-26;  // its square is 2^-52
  differences[0] = 1;
  differences[1] = small;
  differences[2] = small;
  differences[3] = small;
  differences[8] = small;
  // Sum 0: 1 + 2^-52. (0+1): 1 + 2^-51, (2+3): 2^-51, together 1 + 2^-50.
  const Verdict verdict = judgedValues(std::vector<double>(9, 0.0), differences);
  EXPECT_EQ(verdict.rms, std::sqrt((1 + 0x1p-50) / 9));
}

TEST(Rms, neither_overflows_nor_vanishes) {
  EXPECT_EQ(judgedValues({0, 0}, {1e300, -1e300}).rms, 1e300);
  EXPECT_EQ(judgedValues({0, 0}, {0x1p-600, 0x1p-600}).rms, 0x1p-600);
  EXPECT_EQ(judgedValues({0, 0}, {5e-324, 5e-324}).rms, 5e-324);
  EXPECT_EQ(judgedValues({0, 0, 0, 0}, {0x1p600, 1, 0x1p-600, 0}).rms, 0x1p599);
}

TEST(Intervals, are_maximal_stretches_of_instants_out) {
  const Verdict verdict = judgedValues({0, 0, 0, 0, 0, 0, 0}, {1, 0, 1, 1, 1, 0, 1});
  ASSERT_EQ(verdict.intervals.size(), 3U);
  EXPECT_EQ(verdict.intervalsTotal, 3U);
  EXPECT_EQ(verdict.intervals[1].first, 2);
  EXPECT_EQ(verdict.intervals[1].last, 4);
  EXPECT_EQ(verdict.intervals[1].count, 3U);
  EXPECT_EQ(verdict.intervals[2].first, 6);
  EXPECT_EQ(verdict.intervals[2].count, 1U);
}

TEST(Intervals, go_on_from_block_to_block) {
  const std::vector<double> zeros(3000, 0.0);
  const std::vector<double> ones(3000, 1.0);
  const Verdict verdict = judgedValues(zeros, ones);
  ASSERT_EQ(verdict.intervalsTotal, 1U);
  EXPECT_EQ(verdict.intervals[0].count, 3000U);
  EXPECT_EQ(verdict.intervals[0].last, 2999);
}

TEST(Intervals, the_first_100_are_kept_and_all_are_counted) {
  for (const std::size_t stretches : {99U, 100U, 101U, 250U}) {
    std::vector<double> other(2 * stretches, 0.0);
    for (std::size_t i = 0; i < other.size(); i += 2) other[i] = 1;
    const Verdict verdict = judgedValues(std::vector<double>(other.size(), 0.0), other);
    EXPECT_EQ(verdict.intervalsTotal, stretches);
    ASSERT_EQ(verdict.intervals.size(), std::min<std::size_t>(stretches, 100));
    EXPECT_EQ(verdict.intervals.back().first,
              static_cast<double>(2 * std::min<std::size_t>(stretches, 100) - 2));
  }
}

TEST(Aligned, holds_both_sides_with_difference_tolerance_and_what_is_out) {
  const Aligned pair =
      aligned({{0, 1, 2, 3}, {1, 2, kNaN, 4}}, {{0, 1, 2, 3}, {1, 3, 5, 9}}, Given().window(0, 2));
  EXPECT_THAT(pair.instants, ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(pair.out, ElementsAre(0, 1, 0, 0));
  EXPECT_EQ(pair.difference[0], 0);
  EXPECT_EQ(pair.difference[1], 1);
  EXPECT_TRUE(std::isnan(pair.difference[2]));  // gained
  EXPECT_TRUE(std::isnan(pair.difference[3]));  // outside
  EXPECT_EQ(pair.tolerance[1], 0);
  EXPECT_TRUE(std::isnan(pair.tolerance[2]));
  EXPECT_TRUE(std::isnan(pair.tolerance[3]));
  EXPECT_THAT(pair.other, ElementsAre(1, 3, 5, 9));
}

TEST(Aligned, has_the_verdict_of_compare_and_all_components) {
  const plain::Side baseline = vectorSide({{1, 2}, {3, 4}});
  const plain::Side other = vectorSide({{1, 9}, {3, 4}});
  Aligned pair;
  const Verdict verdict = align(OwnedSeries(baseline).view, OwnedSeries(other).view, {}, {}, pair);
  EXPECT_EQ(verdict.out, 1U);
  EXPECT_EQ(pair.components, 2U);
  EXPECT_THAT(pair.baseline, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(pair.out, ElementsAre(0, 1, 0, 0));
}

TEST(Aligned, is_empty_if_the_pair_is_incomparable) {
  Aligned pair;
  pair.instants = {7};
  const Signal falling{{0, 2, 1}, {1, 1, 1}};
  align(OwnedSeries({0, 1, 2}, {1, 1, 1}).view, OwnedSeries(falling.times, falling.values).view, {},
        {}, pair);
  EXPECT_THAT(pair.instants, IsEmpty());
}

TEST(Stop, ends_the_call_within_a_block_of_work) {
  const std::size_t count = 100'000;
  const std::vector<double> times = counting(count);
  std::vector<double> later = times;
  for (double& t : later) t += 0.5;
  std::vector<double> far = times;
  for (double& t : far) t += 1e9;
  const auto expectStop = [&](const std::vector<double>& otherTimes, Given given) {
    int asked = 0;
    given.options.stop = [&asked] { return ++asked == 3; };
    EXPECT_THROW(judged({times, times}, {otherTimes, times}, given), Stopped);
    EXPECT_EQ(asked, 3);
  };
  expectStop(times, Given());
  expectStop(later, Given());
  expectStop(later, Given().linear());
  expectStop(later, Given().intersection());
  expectStop(times, Given().uniform(0.25));
  expectStop(far, Given());
  expectStop(times, Given().function([](const AtInstants& at) {
    return std::vector<double>(at.instants.size(), 0.0);
  }));
}

TEST(Stop, raised_by_a_function_passes_through) {
  const Given given = Given().custom([](auto, auto) -> std::vector<double> { throw Stopped(); });
  EXPECT_THROW(judgedValues({1}, {1}, given), Stopped);
}

TEST(Text, of_a_pair_out_names_place_values_and_tolerance) {
  const Signal baseline{{20, 20.5, 21}, {857, 857, 857}};
  const Signal other{{20, 20.5, 21}, {857, 872, 857}};
  const Given given = Given().relative(0.01);
  EXPECT_EQ(describe(judged(baseline, other, given), given.settings, Source::kRun),
            "out at 1 of 3 instants, first at 20.5: 872 instead of 857, off by 15, allowed 8.57 "
            "(relative 0.01, from the run)");
}

TEST(Text, names_the_part_of_the_tolerance_that_decides) {
  const Given given = Given().relative(0.01).absolute(2);
  EXPECT_EQ(describe(judgedValues({1}, {4}, given), given.settings, Source::kOwn),
            "out at 1 of 1 instant, first at 0: 4 instead of 1, off by 3, allowed 2 (absolute 2, "
            "from the signal)");
}

TEST(Text, of_lost_values_components_and_functions) {
  EXPECT_EQ(describe(judgedValues({1}, {kNaN}), {}, Source::kOwn),
            "out at 1 of 1 instant, first at 0: no number instead of 1");
  Given given = Given().function([](const AtInstants&) { return std::vector<double>{0.5}; });
  given.settings.tolerance.fcnCall = "band";
  EXPECT_EQ(describe(judged(vectorSide({{1, 2}}), vectorSide({{1, 4}}), given), given.settings,
                     Source::kOverride),
            "out at 1 of 1 instant, first at 0 in component 1: 4 instead of 2, off by 2, allowed "
            "0.5 (by band, as given)");
}

TEST(Text, tells_times_as_dates_where_they_are_dates) {
  const Signal baseline{{0, 86400, 90061.5}, {1, 1, 1}};
  Signal other = baseline;
  other.values[2] = 4;
  EXPECT_EQ(describe(judged(baseline, other), {}, Source::kOwn, Clock::kDate),
            "out at 1 of 3 instants, first at 1970-01-02 01:01:01.5: 4 instead of 1, off by 3, "
            "allowed 0 (absolute 0, from the signal)");
  other.values = {1, 2, 1};
  const Given given = Given().absolute(2);
  EXPECT_EQ(describe(judged(baseline, other, given), given.settings, Source::kOwn, Clock::kDate),
            "within at 3 instants, off by at most 1 at 1970-01-02");
}

TEST(DateText, is_a_day_alone_at_midnight_and_drops_zeros_of_the_fraction) {
  EXPECT_EQ(dateText(0), "1970-01-01");
  EXPECT_EQ(dateText(-0.0), "1970-01-01");
  EXPECT_EQ(dateText(951782400), "2000-02-29");
  EXPECT_EQ(dateText(1467158400), "2016-06-29");
  EXPECT_EQ(dateText(1467158400 + 45000), "2016-06-29 12:30:00");
  EXPECT_EQ(dateText(1467158400.25), "2016-06-29 00:00:00.25");
  EXPECT_EQ(dateText(-1), "1969-12-31 23:59:59");
  EXPECT_EQ(dateText(-0.5), "1969-12-31 23:59:59.5");
}

TEST(DateText, rounds_to_the_nearest_microsecond) {
  EXPECT_EQ(dateText(1e-6), "1970-01-01 00:00:00.000001");
  EXPECT_EQ(dateText(4e-7), "1970-01-01");
  EXPECT_EQ(dateText(0.9999999), "1970-01-01 00:00:01");
  EXPECT_EQ(dateText(-1e-7), "1970-01-01");
}

TEST(DateText, is_the_number_outside_the_years_that_have_four_digits) {
  EXPECT_EQ(dateText(-62135596800), "0001-01-01");
  EXPECT_EQ(dateText(-62135596801), "-62135596801");
  EXPECT_EQ(dateText(253402300799), "9999-12-31 23:59:59");
  EXPECT_EQ(dateText(253402300800), "253402300800");
  EXPECT_EQ(dateText(kNaN), "nan");
  EXPECT_EQ(dateText(kInfinity), "inf");
}

TEST(Text, of_complex_values_shows_both_parts) {
  EXPECT_EQ(describe(judged(complexSide({{1, -2}}), complexSide({{1, 1}})), {}, Source::kOwn),
            "out at 1 of 1 instant, first at 0: 1+1i instead of 1-2i, off by 3, allowed 0 "
            "(absolute 0, from the signal)");
}

TEST(Text, tells_of_samples_that_are_not_covered) {
  EXPECT_EQ(describe(judged({{0, 1}, {1, 1}}, {{1, 2}, {1, 1}}), {}, Source::kOwn),
            "out: the other does not cover 1 sample of the baseline");
}

TEST(Text, of_a_pair_within_tells_how_near) {
  const Given given = Given().absolute(1);
  EXPECT_EQ(describe(judgedValues({1, 2}, {1, 2.5}, given), given.settings, Source::kOwn),
            "within at 2 instants, off by at most 0.5 at 1");
  EXPECT_EQ(describe(judgedValues({1}, {1}), {}, Source::kOwn), "within at 1 instant");
  EXPECT_EQ(describe(judgedValues({kNaN}, {1}), {}, Source::kOwn),
            "within: the baseline has no number at 1 instant");
  EXPECT_EQ(describe(judged(Signal{}, Signal{}), {}, Source::kOwn),
            "within: the baseline has no samples");
}

TEST(Text, of_other_states_says_why) {
  Verdict verdict;
  verdict.status = Status::kMissing;
  EXPECT_EQ(describe(verdict, {}, Source::kOwn), "missing: the other has no such signal");
  verdict.status = Status::kExtra;
  EXPECT_EQ(describe(verdict, {}, Source::kOwn), "extra: the baseline has no such signal");
  verdict.status = Status::kIncomparable;
  verdict.reason = Reason::kFunctionFailed;
  verdict.failure = "no luck";
  EXPECT_EQ(describe(verdict, {}, Source::kOwn), "incomparable: a function failed: no luck");
}

TEST(Names, are_those_of_reports) {
  EXPECT_STREQ(nameOf(Status::kWithin), "within");
  EXPECT_STREQ(nameOf(Status::kOut), "out");
  EXPECT_STREQ(nameOf(Status::kMissing), "missing");
  EXPECT_STREQ(nameOf(Status::kExtra), "extra");
  EXPECT_STREQ(nameOf(Status::kIncomparable), "incomparable");
  const Reason reasons[] = {Reason::kNone,       Reason::kNoValues,       Reason::kNotNumeric,
                            Reason::kBadTime,    Reason::kShapeDiffers,   Reason::kBadSettings,
                            Reason::kNoFunction, Reason::kFunctionFailed, Reason::kNothingCompared};
  std::vector<std::string> names;
  for (const Reason reason : reasons) names.emplace_back(nameOf(reason));
  EXPECT_THAT(names,
              ElementsAre("", "no-values", "not-numeric", "bad-time", "shape-differs",
                          "bad-settings", "no-function", "function-failed", "nothing-compared"));
}

}  // namespace
}  // namespace kvr::compare::test
