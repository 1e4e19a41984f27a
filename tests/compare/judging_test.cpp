#include <cmath>

#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

constexpr double kGreatest = std::numeric_limits<double>::max();

TEST(Judging, equal_values_are_within_at_tolerance_0) {
  const Verdict verdict = judgedValues({1, -0.0, 5e-324, kInfinity}, {1, 0.0, 5e-324, kInfinity});
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.judged, 4U);
  EXPECT_EQ(verdict.maxDifference, 0);
  EXPECT_EQ(verdict.maxDifferenceTime, 0.0);
}

TEST(Judging, the_least_difference_is_out_at_tolerance_0) {
  const Verdict verdict = judgedValues({1, 2}, {std::nextafter(1.0, 2.0), 2});
  EXPECT_EQ(verdict.status, Status::kOut);
  EXPECT_EQ(verdict.out, 1U);
  EXPECT_EQ(verdict.worst->difference, 0x1p-52);
}

TEST(Judging, nan_on_both_sides_is_a_gap_and_not_judged) {
  const Verdict verdict = judgedValues({1, kNaN}, {1, -kNaN});
  EXPECT_EQ(verdict.gaps, 1U);
  EXPECT_EQ(verdict.judged, 1U);
  EXPECT_EQ(verdict.status, Status::kWithin);
}

TEST(Judging, a_number_where_the_baseline_has_none_is_gained) {
  const Verdict verdict = judgedValues({1, kNaN, kNaN}, {1, 2, kInfinity});
  EXPECT_EQ(verdict.gained, 2U);
  EXPECT_EQ(verdict.status, Status::kWithin);
}

TEST(Judging, no_number_where_the_baseline_has_one_is_lost_and_out_at_any_tolerance) {
  const Verdict verdict = judgedValues({1, kInfinity}, {kNaN, kNaN}, Given().absolute(kInfinity));
  EXPECT_EQ(verdict.lost, 2U);
  EXPECT_EQ(verdict.out, 2U);
  EXPECT_EQ(verdict.judged, 2U);
  EXPECT_EQ(verdict.status, Status::kOut);
}

TEST(Judging, an_infinite_difference_is_out_at_any_tolerance) {
  const Given most = Given().absolute(kInfinity);
  EXPECT_EQ(judgedValues({kInfinity}, {-kInfinity}, most).out, 1U);
  EXPECT_EQ(judgedValues({kInfinity}, {1}, most).out, 1U);
  EXPECT_EQ(judgedValues({1}, {kInfinity}, most).out, 1U);
  EXPECT_EQ(judgedValues({kGreatest}, {-kGreatest}, most).out, 1U);  // overflows
}

TEST(Judging, a_difference_equal_to_the_tolerance_is_within) {
  EXPECT_EQ(judgedValues({1}, {1.5}, Given().absolute(0.5)).out, 0U);
  EXPECT_EQ(judgedValues({1}, {1.5}, Given().absolute(std::nextafter(0.5, 0.0))).out, 1U);
  EXPECT_EQ(judgedValues({4}, {3}, Given().relative(0.25)).out, 0U);
  EXPECT_EQ(judgedValues({-4}, {-5}, Given().relative(0.25)).out, 0U);
}

TEST(Judging, the_larger_of_absolute_and_relative_counts) {
  // 0.5 against 0.1 * 10 = 1, and against 0.1 * 2 = 0.2.
  const Given given = Given().absolute(0.5).relative(0.1);
  EXPECT_EQ(judgedValues({10, 2}, {11, 2.5}, given).out, 0U);
  EXPECT_EQ(judgedValues({10, 2}, {11.001, 2.501}, given).out, 2U);
}

TEST(Judging, relative_to_the_baseline_not_to_the_other) {
  // 0.5 * 2 = 1 is less than 2, 0.5 * 4 = 2 is not.
  EXPECT_EQ(judgedValues({2}, {4}, Given().relative(0.5)).out, 1U);
  EXPECT_EQ(judgedValues({4}, {2}, Given().relative(0.5)).out, 0U);
}

TEST(Judging, the_product_is_rounded_once_and_nothing_is_added) {
  // 0.01 * 857 rounds to 8.57; 857 + 8.57 rounds to 865.57, which is off by 8.5700000000000500.
  const double off = 865.57 - 857;
  const double allowed = 0.01 * 857;
  ASSERT_GT(off, allowed);
  EXPECT_EQ(judgedValues({857}, {865.57}, Given().relative(0.01)).out, 1U);
}

TEST(Group1, judges_from_start_to_end_with_both) {
  const Verdict verdict = judgedValues({1, 1, 1, 1, 1}, {9, 9, 9, 9, 9}, Given().window(1, 3));
  EXPECT_EQ(verdict.outside, 2U);
  EXPECT_EQ(verdict.judged, 3U);
  EXPECT_EQ(verdict.firstOut, 1.0);
  EXPECT_EQ(verdict.lastOut, 3.0);
}

TEST(Group1, outside_comes_before_gaps_and_losses) {
  const Verdict verdict =
      judgedValues({kNaN, 1, kNaN, 1}, {kNaN, kNaN, 1, 1}, Given().window(3, 3));
  EXPECT_EQ(verdict.outside, 3U);
  EXPECT_EQ(verdict.gaps + verdict.gained + verdict.lost, 0U);
}

TEST(Group1, an_empty_window_judges_nothing) {
  EXPECT_EQ(judgedValues({1, 1}, {1, 1}, Given().window(1, 0)).outside, 2U);
}

TEST(Group1, the_tolerance_steps_with_time) {
  // k = floor((t - 1) / 2): 0 0 1 1 2 at 1 to 5, so that 1 1 1.5 1.5 2 are allowed.
  Given given = Given().window(1, 5, 1);
  given.settings.tolerance.timeStep = 2;
  given.settings.tolerance.absStep = 0.5;
  const std::vector<double> zero(6, 0.0);
  EXPECT_EQ(judgedValues(zero, {9, 1, 1, 1.5, 1.5, 2}, given).out, 0U);
  const Verdict verdict = judgedValues(zero, {9, 1.1, 1.1, 1.6, 1.6, 2.1}, given);
  EXPECT_EQ(verdict.out, 5U);
  EXPECT_EQ(verdict.worst->tolerance, 1.0);  // 1.1 - 1 is more than 1.6 - 1.5, if by rounding alone
}

TEST(Group1, steps_may_go_down_and_the_relative_part_steps_too) {
  // Relative 0.5 - 0.25 k of 8: 4, 2, 0.
  Given given = Given().window(0, 2);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.initRelTolVal = 0.5;
  given.settings.tolerance.relStep = -0.25;
  EXPECT_EQ(judgedValues({8, 8, 8}, {12, 10, 8}, given).out, 0U);
  EXPECT_EQ(judgedValues({8, 8, 8}, {12.5, 10.5, 8.5}, given).out, 3U);
}

TEST(Group1, without_a_time_step_nothing_steps) {
  Given given = Given().window(0, 9, 1);
  given.settings.tolerance.absStep = 100;
  EXPECT_EQ(judgedValues({0, 0, 0}, {0, 1.5, 1.5}, given).out, 2U);
}

TEST(Group1, fields_of_group_0_do_not_count) {
  EXPECT_EQ(judgedValues({0}, {1}, Given().absolute(5).window(0, 1)).out, 1U);
}

TEST(Group1, a_window_without_ends_judges_all_but_cannot_count_steps) {
  Given given = Given().window(-kInfinity, kInfinity, 1);
  EXPECT_EQ(judgedValues({0, 0}, {1, 2}, given).out, 1U);
  given.settings.tolerance.timeStep = 1;  // k is infinite, 0 * infinity NaN
  EXPECT_EQ(judgedValues({0, 0}, {1, 2}, given).reason, Reason::kBadSettings);
}

TEST(Group2, the_function_gets_instants_and_values_and_allows_one_number_an_instant) {
  const Given given = Given().function([](const AtInstants& at) {
    EXPECT_THAT(std::vector<double>(at.instants.begin(), at.instants.end()), ElementsAre(0, 1, 2));
    EXPECT_THAT(std::vector<double>(at.baseline.begin(), at.baseline.end()), ElementsAre(1, 2, 3));
    EXPECT_THAT(std::vector<double>(at.other.begin(), at.other.end()), ElementsAre(2, 4, 6));
    EXPECT_EQ(at.components, 1U);
    EXPECT_TRUE(at.baselineImaginary.empty());
    return std::vector<double>{1, 1, 3};
  });
  const Verdict verdict = judgedValues({1, 2, 3}, {2, 4, 6}, given);
  EXPECT_EQ(verdict.out, 1U);
  EXPECT_EQ(verdict.firstOut, 1.0);
}

TEST(Group2, a_tolerance_holds_for_all_components_or_each_has_its_own) {
  const auto returning = [](std::vector<double> tolerances) {
    return Given().function([tolerances](const AtInstants&) { return tolerances; });
  };
  const plain::Side baseline = vectorSide({{0, 0}, {0, 0}, {0, 0}});
  const plain::Side other = vectorSide({{1, 2}, {1, 2}, {1, 2}});
  EXPECT_EQ(judged(baseline, other, returning({0, 1, 2})).out, 3U);
  EXPECT_EQ(judged(baseline, other, returning({1, 2, 1, 1, 0, 2})).out, 2U);
}

TEST(Complex, the_difference_is_the_modulus) {
  // 3 and 4 apart: 5.
  EXPECT_EQ(judged(complexSide({{1, 1}}), complexSide({{4, 5}}), Given().absolute(5)).out, 0U);
  const Verdict verdict =
      judged(complexSide({{1, 1}}), complexSide({{4, 5}}), Given().absolute(4.999));
  EXPECT_EQ(verdict.out, 1U);
  EXPECT_EQ(verdict.worst->difference, 5);
  EXPECT_EQ(verdict.worst->baseline, (std::complex<double>{1, 1}));
}

TEST(Complex, the_modulus_neither_overflows_nor_vanishes) {
  const Verdict large = judged(complexSide({{0, 0}}), complexSide({{0x3p600, 0x4p600}}));
  EXPECT_EQ(large.worst->difference, 0x5p600);
  const Verdict small = judged(complexSide({{0, 0}}), complexSide({{0x3p-600, 0x4p-600}}));
  EXPECT_EQ(small.worst->difference, 0x5p-600);
}

TEST(Complex, relative_to_the_modulus_of_the_baseline) {
  EXPECT_EQ(judged(complexSide({{3, 4}}), complexSide({{3, 5}}), Given().relative(0.2)).out, 0U);
  EXPECT_EQ(judged(complexSide({{3, 4}}), complexSide({{3, 5}}), Given().relative(0.19)).out, 1U);
}

TEST(Complex, a_real_side_has_imaginary_part_0) {
  EXPECT_EQ(judged(complexSide({{1, 0}}), sideOf({0}, {1})).out, 0U);
  EXPECT_EQ(judged(sideOf({0}, {1}), complexSide({{1, 2}})).worst->difference, 2);
}

TEST(Complex, a_number_with_a_part_nan_is_nan) {
  const Verdict verdict = judged(complexSide({{1, kNaN}, {kNaN, 1}, {1, 1}, {kInfinity, kNaN}}),
                                 complexSide({{kNaN, 1}, {1, 1}, {1, kNaN}, {kInfinity, 0}}));
  EXPECT_EQ(verdict.gaps, 1U);
  EXPECT_EQ(verdict.gained, 2U);
  EXPECT_EQ(verdict.lost, 1U);
}

TEST(Complex, infinite_numbers_are_within_only_if_both_parts_are_equal) {
  EXPECT_EQ(judged(complexSide({{kInfinity, 1}}), complexSide({{kInfinity, 1}})).out, 0U);
  const Verdict verdict = judged(complexSide({{kInfinity, 1}}), complexSide({{kInfinity, 2}}),
                                 Given().absolute(kInfinity));
  EXPECT_EQ(verdict.out, 1U);  // infinity - infinity is NaN
  EXPECT_TRUE(std::isnan(verdict.worst->tolerance));
}

TEST(Components, are_judged_one_by_one) {
  const plain::Side baseline = vectorSide({{1, 2, 3}, {1, kNaN, 3}});
  const plain::Side other = vectorSide({{1, 9, 9}, {kNaN, kNaN, 3}});
  const Verdict verdict = judged(baseline, other);
  EXPECT_EQ(verdict.instants, 2U);
  EXPECT_EQ(verdict.instantsOut, 2U);
  EXPECT_EQ(verdict.judged, 5U);
  EXPECT_EQ(verdict.gaps, 1U);
  EXPECT_EQ(verdict.out, 3U);
  EXPECT_EQ(verdict.lost, 1U);
}

TEST(Components, more_than_a_block_holds_are_all_judged) {
  for (const std::size_t components : {1023U, 1024U, 1025U, 2050U}) {
    std::vector<double> sample(components, 1.0);
    const plain::Side baseline = vectorSide({sample, sample});
    sample.back() = 2;
    const Verdict verdict = judged(baseline, vectorSide({sample, sample}));
    EXPECT_EQ(verdict.judged, 2 * components);
    EXPECT_EQ(verdict.out, 2U);
    EXPECT_EQ(verdict.instantsOut, 2U);
    EXPECT_EQ(verdict.worst->component, components - 1);
    EXPECT_EQ(verdict.intervalsTotal, 1U);
  }
}

TEST(Classes, the_class_itself_is_not_compared) {
  Layout single;
  single.numericClass = NumericClass::kSingle;
  const plain::Side side = sideOf({0, 1}, {0.5, 2});
  EXPECT_EQ(compare(OwnedSeries(side).view, OwnedSeries(side, {}, single).view, {}).out, 0U);
}

TEST(Classes, integers_beyond_2_to_the_53_are_rounded) {
  const std::int64_t was = (std::int64_t{1} << 53) + 1;  // rounds to 2^53
  const std::uint64_t is = std::uint64_t{1} << 53;
  const double time = 0;
  Series baseline = seriesOf({&time, 1}, {&time, 1});
  Series other = baseline;
  baseline.values.real = &was;
  baseline.values.numericClass = NumericClass::kInt64;
  other.values.real = &is;
  other.values.numericClass = NumericClass::kUint64;
  EXPECT_EQ(compare(baseline, other, {}).status, Status::kWithin);
}

TEST(Classes, times_are_compared_as_doubles) {
  const std::int64_t was[] = {std::int64_t{1} << 53, (std::int64_t{1} << 53) + 2};
  const std::int64_t is[] = {(std::int64_t{1} << 53) + 1, (std::int64_t{1} << 53) + 2};
  const double values[] = {1, 2};
  Series baseline = seriesOf(values, values);
  baseline.times.real = was;
  baseline.times.numericClass = NumericClass::kInt64;
  Series other = baseline;
  other.times.real = is;
  const Verdict verdict = compare(baseline, other, Given().intersection().settings);
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.instants, 2U);  // 2^53 + 1 rounds to 2^53
}

TEST(Classes, every_class_is_read_in_every_layout) {
  const plain::Side side = vectorSide({{0, 1, 1}, {1, 0, 1}, {1, 1, 0}, {0, 0, 1}});
  for (int number = 0; number <= static_cast<int>(NumericClass::kDouble); ++number) {
    for (const bool isColumnMajor : {false, true}) {
      for (std::size_t offset = 0; offset < 9; ++offset) {
        Layout layout;
        layout.numericClass = static_cast<NumericClass>(number);
        layout.isColumnMajor = isColumnMajor;
        layout.isReversed = offset % 2 == 1;
        layout.gap = offset % 3;
        layout.offset = offset;
        const OwnedSeries laidOut(side, {}, layout);
        EXPECT_EQ(compare(OwnedSeries(side).view, laidOut.view, {}).out, 0U);
        plain::Side changed = side;
        changed.samples[2][1] = 0;
        const Verdict verdict = compare(OwnedSeries(changed).view, laidOut.view, {});
        ASSERT_EQ(verdict.out, 1U) << number << isColumnMajor << offset;
        EXPECT_EQ(verdict.worst->component, 1U);
        EXPECT_EQ(verdict.firstOut, 2.0);
      }
    }
  }
}

TEST(Classes, negative_integers_and_the_largest_keep_their_value) {
  const std::int8_t small[] = {-128, 127};
  const std::uint32_t large[] = {4294967295U, 0U};
  const double time[] = {0, 1};
  Series integers = seriesOf(time, time);
  integers.values.real = small;
  integers.values.numericClass = NumericClass::kInt8;
  integers.values.sampleStride = 1;
  const double asDoubles[] = {-128, 127};
  EXPECT_EQ(compare(seriesOf(time, asDoubles), integers, {}).out, 0U);
  integers.values.real = large;
  integers.values.numericClass = NumericClass::kUint32;
  integers.values.sampleStride = 4;
  const double moreDoubles[] = {4294967295.0, 0};
  EXPECT_EQ(compare(seriesOf(time, moreDoubles), integers, {}).out, 0U);
}

// One value out, gone through every place of series of every length about the widths of vectors and
// of a block.
TEST(Blocks, a_value_out_is_found_wherever_it_stands) {
  std::vector<std::size_t> counts;
  for (std::size_t count = 1; count <= 34; ++count) counts.push_back(count);
  for (const std::size_t count : {1023U, 1024U, 1025U, 2047U, 2048U, 2049U})
    counts.push_back(count);
  for (const std::size_t count : counts) {
    const std::vector<double> times = counting(count);
    const std::vector<double> values(count, 1.0);
    std::vector<double> changed = values;
    const std::size_t step = count > 100 ? 97 : 1;
    for (std::size_t place = 0; place < count; place += step) {
      for (const double bad : {2.0, kNaN, kInfinity}) {
        changed[place] = bad;
        const Verdict verdict = judged({times, values}, {times, changed});
        ASSERT_EQ(verdict.out, 1U) << count << " " << place << " " << bad;
        EXPECT_EQ(verdict.firstOut, times[place]);
        EXPECT_EQ(verdict.judged, count);
        EXPECT_EQ(verdict.lost, std::isnan(bad) ? 1U : 0U);
      }
      changed[place] = 1;
    }
  }
}

}  // namespace
}  // namespace kvr::compare::test
