#include <stdexcept>

#include "tests/compare/compare_test.h"

namespace kvr::compare::test {
namespace {

const Signal kPlain{{0, 1, 2}, {1, 2, 3}};

// A pair to which faults are added, one after the other.
struct Faulty {
  OwnedSeries baseline{{0, 1, 2}, {1, 2, 3}};
  OwnedSeries other{{0, 1, 2}, {1, 2, 3}};
  std::size_t shape[1] = {3};
  Given given;

  Reason reason() const {
    const Verdict verdict = compare(baseline.view, other.view, given.settings, given.options);
    EXPECT_EQ(verdict.status,
              verdict.reason == Reason::kNone ? Status::kWithin : Status::kIncomparable);
    return verdict.reason;
  }
};

Reason reasonOf(const Signal& baseline, const Signal& other, const Given& given = {}) {
  return judged(baseline, other, given).reason;
}

TEST(Reasons, faults_are_reported_in_the_order_of_the_table) {
  Faulty pair;
  pair.given.window(5, 6);
  EXPECT_EQ(pair.reason(), Reason::kNothingCompared);
  // The steps lead below 0 at time 1: 0.5 - 1.
  pair.given.window(0, 2, 0.5);
  pair.given.settings.tolerance.timeStep = 1;
  pair.given.settings.tolerance.absStep = -1;
  EXPECT_EQ(pair.reason(), Reason::kBadSettings);
  pair.given.custom([](auto, auto) -> std::vector<double> { throw std::runtime_error("no"); });
  EXPECT_EQ(pair.reason(), Reason::kFunctionFailed);
  pair.given.custom({});
  EXPECT_EQ(pair.reason(), Reason::kNoFunction);
  pair.given.settings.tolerance.toleranceType = 3;
  EXPECT_EQ(pair.reason(), Reason::kBadSettings);
  pair.other.view.shape = pair.shape;
  EXPECT_EQ(pair.reason(), Reason::kShapeDiffers);
  pair.other.view.timeCount = 2;
  EXPECT_EQ(pair.reason(), Reason::kBadTime);
  pair.baseline.view.content = Content::kNotNumeric;
  EXPECT_EQ(pair.reason(), Reason::kNotNumeric);
  pair.other.view.content = Content::kNone;
  EXPECT_EQ(pair.reason(), Reason::kNoValues);
}

TEST(Reasons, a_side_without_values_or_numbers_is_named_whichever_it_is) {
  for (const bool isBaseline : {true, false}) {
    Faulty pair;
    Series& side = (isBaseline ? pair.baseline : pair.other).view;
    side.content = Content::kNotNumeric;
    EXPECT_EQ(pair.reason(), Reason::kNotNumeric);
    side.content = Content::kNone;
    EXPECT_EQ(pair.reason(), Reason::kNoValues);
  }
}

TEST(Reasons, times_that_are_no_real_vector_are_bad) {
  Faulty pair;
  pair.other.view.times.numericClass = NumericClass::kLogical;
  EXPECT_EQ(pair.reason(), Reason::kBadTime);
  Faulty complexTimes;
  complexTimes.baseline.view.times.imaginary = complexTimes.baseline.view.times.real;
  EXPECT_EQ(complexTimes.reason(), Reason::kBadTime);
  Faulty unusable;
  unusable.other.view.clock = Clock::kUnusable;
  EXPECT_EQ(unusable.reason(), Reason::kBadTime);
}

TEST(Reasons, dates_meet_dates_only) {
  Faulty pair;
  pair.other.view.clock = Clock::kDate;
  EXPECT_EQ(pair.reason(), Reason::kBadTime);
  pair.baseline.view.clock = Clock::kDate;
  EXPECT_EQ(pair.reason(), Reason::kNone);
}

TEST(Reasons, times_that_are_not_finite_or_fall_are_bad_on_either_side_at_any_place) {
  for (const double bad : {kNaN, kInfinity, -kInfinity, -7.0, 70.0}) {
    for (const std::size_t place : {0U, 1U, 2U, 3U}) {
      Signal signal{{0, 1, 2, 3}, {1, 1, 1, 1}};
      signal.times[place] = bad;
      const bool falls = !(bad == -7.0 && place == 0) && !(bad == 70.0 && place == 3);
      const Signal sound{{0, 1, 2, 3}, {1, 1, 1, 1}};
      const Given common = Given().common();
      EXPECT_EQ(reasonOf(signal, sound, common) == Reason::kBadTime, falls) << bad << place;
      EXPECT_EQ(reasonOf(sound, signal, common) == Reason::kBadTime, falls) << bad << place;
    }
  }
}

TEST(Reasons, a_bad_time_goes_before_bad_settings_that_are_seen_first) {
  // The tolerance is negative at once, the time falls in a later block.
  std::vector<double> times = counting(5000);
  const std::vector<double> values(5000, 1.0);
  times[4000] = 7;
  Given given = Given().window(0, 1e9, -1);
  EXPECT_EQ(reasonOf({times, values}, {times, values}, given), Reason::kBadTime);
  given.uniform(-1);
  EXPECT_EQ(reasonOf({times, values}, {times, values}, given), Reason::kBadTime);
}

TEST(Reasons, a_bad_time_outside_the_common_span_is_found) {
  const Signal baseline{{0, 1, 2}, {1, 1, 1}};
  const Signal other{{0, 1, 2, 9, 8, 10}, {1, 1, 1, 1, 1, 1}};
  EXPECT_EQ(reasonOf(baseline, other), Reason::kBadTime);
  EXPECT_EQ(reasonOf(baseline, {{-3, -4, 0, 1, 2}, {1, 1, 1, 1, 1}}), Reason::kBadTime);
}

TEST(Reasons, a_bad_time_goes_before_a_function_and_the_function_is_not_called) {
  const auto never = [](auto, auto) -> std::vector<double> {
    ADD_FAILURE() << "called";
    return {};
  };
  EXPECT_EQ(reasonOf(kPlain, {{0, 2, 1}, {1, 2, 3}}, Given().custom(never)), Reason::kBadTime);
  const auto neither = [](const AtInstants&) -> std::vector<double> {
    ADD_FAILURE() << "called";
    return {};
  };
  EXPECT_EQ(reasonOf(kPlain, {{0, 2, 1}, {1, 2, 3}}, Given().function(neither)), Reason::kBadTime);
}

TEST(Reasons, trailing_dimensions_of_one_do_not_count) {
  Faulty pair;
  const std::size_t ones[] = {1, 1, 1};
  pair.other.view.shape = ones;
  pair.baseline.view.shape = {};
  EXPECT_EQ(pair.reason(), Reason::kNone);
}

TEST(Reasons, shapes_of_the_same_product_differ) {
  Faulty pair;
  const std::size_t wide[] = {1, 0};
  const std::size_t high[] = {0};
  pair.baseline.view.shape = wide;
  pair.other.view.shape = high;
  EXPECT_EQ(pair.reason(), Reason::kShapeDiffers);
}

TEST(Reasons, a_side_without_samples_has_no_shape) {
  Faulty pair;
  pair.baseline.view.samples = pair.baseline.view.timeCount = 0;
  pair.other.view.shape = pair.shape;
  EXPECT_EQ(pair.reason(), Reason::kNone);
}

TEST(Reasons, fields_of_the_group_in_force_are_tested_and_no_others) {
  double Tolerance::*const first[] = {&Tolerance::absolute, &Tolerance::relative};
  double Tolerance::*const second[] = {&Tolerance::timeStart, &Tolerance::timeEnd,
                                       &Tolerance::timeStep,  &Tolerance::initAbsTolVal,
                                       &Tolerance::absStep,   &Tolerance::initRelTolVal,
                                       &Tolerance::relStep};
  const auto expectBad = [](std::int32_t group, double Tolerance::*field, double value,
                            bool isBad) {
    Given given;
    if (group == 1) given.window(-10, 10, 1);
    if (group == 2)
      given.function(
          [](const AtInstants& at) { return std::vector<double>(at.instants.size(), 0.0); });
    given.settings.tolerance.*field = value;
    EXPECT_EQ(reasonOf(kPlain, kPlain, given) == Reason::kBadSettings, isBad) << group << value;
  };
  for (const auto field : first) {
    for (const double value : {kNaN, -1.0}) {
      expectBad(0, field, value, true);
      expectBad(1, field, value, false);
      expectBad(2, field, value, false);
    }
  }
  for (const auto field : second) {
    expectBad(0, field, kNaN, false);
    expectBad(1, field, kNaN, true);
    expectBad(2, field, kNaN, false);
  }
  expectBad(0, &Tolerance::absolute, kInfinity, false);
  expectBad(0, &Tolerance::relative, kInfinity, true);
  expectBad(1, &Tolerance::timeStep, -1.0, true);
  expectBad(1, &Tolerance::initAbsTolVal, kInfinity, false);
  expectBad(1, &Tolerance::initRelTolVal, kInfinity, true);
}

TEST(Reasons, unknown_codes_are_bad_settings) {
  for (const std::int32_t code : {-1, 3}) {
    Given given;
    given.settings.sync.SyncMethod = code;
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kBadSettings);
  }
  for (const std::int32_t code : {-1, 2}) {
    Given interpolation;
    interpolation.settings.sync.InterpMethod = code;
    EXPECT_EQ(reasonOf(kPlain, kPlain, interpolation), Reason::kBadSettings);
    Given type;
    type.settings.sync.syncType = code;
    EXPECT_EQ(reasonOf(kPlain, kPlain, type), Reason::kBadSettings);
  }
  for (const std::int32_t code : {-1, 3}) {
    Given given;
    given.settings.tolerance.toleranceType = code;
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kBadSettings);
  }
}

TEST(Reasons, an_interval_must_be_finite_and_positive_if_the_grid_is_in_force) {
  for (const double interval : {0.0, -0.5, kNaN, kInfinity}) {
    Given given = Given().uniform(interval);
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kBadSettings) << interval;
    given.custom([](auto times, auto) { return std::vector<double>(times.begin(), times.end()); });
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kNone) << interval;
    given.settings.sync.syncType = 0;
    given.intersection();
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kNone) << interval;
  }
}

TEST(Reasons, a_grid_has_at_most_2_to_the_31_steps) {
  // 2^31 + 1 steps of 1 end at 2^31 + 1. The allowed grid is stopped at its first block.
  const double most = 2147483648.0;
  const auto signal = [](double end) { return Signal{{0, end}, {1, 1}}; };
  EXPECT_EQ(reasonOf(signal(most + 1), signal(most + 1), Given().uniform(1)), Reason::kBadSettings);
  Given allowed = Given().uniform(1);
  allowed.options.stop = [] { return true; };
  EXPECT_THROW(judged(signal(most), signal(most), allowed), Stopped);
  EXPECT_THROW(judged(signal(most + 0.5), signal(most + 0.5), allowed), Stopped);
  // Without a common span there is no grid.
  EXPECT_EQ(reasonOf(signal(most + 1), {{-2, -1}, {1, 1}}, Given().uniform(1)), Reason::kNone);
}

TEST(Reasons, settings_that_name_an_unknown_function_are_told_even_without_samples) {
  EXPECT_EQ(reasonOf({}, {}, Given().custom({})), Reason::kNoFunction);
  EXPECT_EQ(reasonOf({}, {}, Given().function({})), Reason::kNoFunction);
}

TEST(Reasons, the_text_of_a_function_that_fails_is_kept) {
  const auto fails = [](auto, auto) -> std::vector<double> { throw std::runtime_error("no luck"); };
  const Verdict verdict = judged(kPlain, kPlain, Given().custom(fails));
  EXPECT_EQ(verdict.reason, Reason::kFunctionFailed);
  EXPECT_EQ(verdict.failure, "no luck");
  EXPECT_EQ(verdict.instants + verdict.beyond + verdict.uncovered, 0U);
}

TEST(Reasons, what_is_not_an_exception_is_a_failure_of_the_function_too) {
  const auto fails = [](const AtInstants&) -> std::vector<double> { throw 7; };
  EXPECT_EQ(judged(kPlain, kPlain, Given().function(fails)).reason, Reason::kFunctionFailed);
}

TEST(Reasons, instants_that_are_not_finite_or_fall_fail) {
  for (const std::vector<double>& instants :
       {std::vector<double>{0, kNaN}, {0, kInfinity}, {-kInfinity, 0}, {1, 0}}) {
    const Given given = Given().custom([&](auto, auto) { return instants; });
    EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kFunctionFailed);
  }
}

TEST(Reasons, tolerances_of_another_number_or_negative_or_nan_fail) {
  const auto returning = [](std::vector<double> tolerances) {
    return Given().function([tolerances](const AtInstants&) { return tolerances; });
  };
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, 0, 0})), Reason::kNone);
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, 0})), Reason::kFunctionFailed);
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, 0, 0, 0})), Reason::kFunctionFailed);
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, -1, 0})), Reason::kFunctionFailed);
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, kNaN, 0})), Reason::kFunctionFailed);
  EXPECT_EQ(reasonOf(kPlain, kPlain, returning({0, kInfinity, 0})), Reason::kNone);
  const Signal gap{{0, 1, 2}, {1, kNaN, 3}};
  EXPECT_EQ(reasonOf(gap, kPlain, returning({0, kNaN, 0})), Reason::kNone);
}

TEST(Reasons, a_tolerance_of_nan_needs_a_baseline_without_a_number) {
  const auto returning = [](std::vector<double> tolerances) {
    return Given().function([tolerances](const AtInstants&) { return tolerances; });
  };
  // A value that is lost has a number in the baseline.
  EXPECT_EQ(reasonOf({{0, 1}, {1, 2}}, {{0, 1}, {1, kNaN}}, returning({0, kNaN})),
            Reason::kFunctionFailed);
  // One part that is NaN makes a complex number NaN.
  const plain::Side gap = complexSide({{1, 0}, {kNaN, 2}});
  const plain::Side sound = complexSide({{1, 0}, {1, 2}});
  EXPECT_EQ(judged(gap, sound, returning({0, kNaN})).reason, Reason::kNone);
  EXPECT_EQ(judged(sound, gap, returning({0, kNaN})).reason, Reason::kFunctionFailed);
  // One tolerance of an instant holds for all components: none may have a number.
  const plain::Side partly = vectorSide({{1, 1}, {kNaN, 2}});
  const plain::Side empty = vectorSide({{1, 1}, {kNaN, kNaN}});
  EXPECT_EQ(judged(partly, partly, returning({0, kNaN})).reason, Reason::kFunctionFailed);
  EXPECT_EQ(judged(partly, partly, returning({0, 0, kNaN, 0})).reason, Reason::kNone);
  EXPECT_EQ(judged(empty, empty, returning({0, kNaN})).reason, Reason::kNone);
}

TEST(Reasons, the_sync_function_fails_before_the_tolerance_function_is_called) {
  Given given = Given().function([](const AtInstants&) -> std::vector<double> {
    ADD_FAILURE() << "called";
    return {};
  });
  given.custom([](auto, auto) { return std::vector<double>{kNaN}; });
  EXPECT_EQ(reasonOf(kPlain, kPlain, given), Reason::kFunctionFailed);
}

TEST(Reasons, functions_are_called_only_if_there_is_something_to_ask) {
  int syncs = 0;
  int tolerances = 0;
  Given given = Given().common();
  given.custom([&](auto, auto) { return ++syncs, std::vector<double>{}; });
  given.function([&](const AtInstants&) { return ++tolerances, std::vector<double>{}; });
  judged({}, kPlain, given);
  judged(kPlain, {}, given);
  judged(kPlain, Signal{{7}, {1}}, given);
  EXPECT_EQ(syncs, 0);
  judged(kPlain, kPlain, given);
  EXPECT_EQ(syncs, 1);
  EXPECT_EQ(tolerances, 0);  // no instant came of it
}

TEST(Reasons, steps_to_a_bad_tolerance_count_only_in_the_window) {
  // 1 - 0.5 k at k = 0, 1, 2: 1, 0.5, 0; at k = 3 below 0.
  Given given = Given().window(0, 2, 1);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.absStep = -0.5;
  const Signal longer{{0, 1, 2, 3}, {1, 2, 3, 4}};
  EXPECT_EQ(reasonOf(longer, longer, given), Reason::kNone);
  given.settings.tolerance.timeEnd = 3;
  EXPECT_EQ(reasonOf(longer, longer, given), Reason::kBadSettings);
  given.settings.tolerance.absStep = 0;
  given.settings.tolerance.relStep = -0.1;
  EXPECT_EQ(reasonOf(longer, longer, given), Reason::kBadSettings);
  given.settings.tolerance.relStep = kInfinity;  // 0 * infinity is NaN at k = 0
  EXPECT_EQ(reasonOf(longer, longer, given), Reason::kBadSettings);
}

TEST(Reasons, steps_to_a_bad_tolerance_count_at_instants_without_numbers_too) {
  Given given = Given().window(0, 2, 0.5);
  given.settings.tolerance.timeStep = 1;
  given.settings.tolerance.absStep = -0.5;  // 0.5, 0, -0.5
  const Signal gap{{0, 1, 2}, {1, 2, kNaN}};
  EXPECT_EQ(reasonOf(gap, gap, given), Reason::kBadSettings);
  EXPECT_EQ(reasonOf({{0, 1}, {1, 2}}, {{0, 1}, {1, 2}}, given), Reason::kNone);
}

TEST(Reasons, nothing_compared_keeps_what_is_known) {
  const Verdict verdict = judged(kPlain, {{0, 1, 2, 3}, {1, 2, 3, 4}}, Given().window(5, 6));
  EXPECT_EQ(verdict.reason, Reason::kNothingCompared);
  EXPECT_EQ(verdict.instants, 3U);
  EXPECT_EQ(verdict.outside, 3U);
  EXPECT_EQ(verdict.beyond, 1U);
}

TEST(Reasons, no_common_times_compare_nothing) {
  EXPECT_EQ(reasonOf({{0, 1, 1.75}, {1, 2, 3}}, {{-1, 0.5, 3}, {1, 2, 3}}, Given().intersection()),
            Reason::kNothingCompared);
}

TEST(Reasons, no_common_span_compares_nothing_with_coverage_common_and_is_out_otherwise) {
  const Signal later{{7, 8}, {1, 1}};
  EXPECT_EQ(reasonOf(kPlain, later, Given().common()), Reason::kNothingCompared);
  EXPECT_EQ(judged(kPlain, later).status, Status::kOut);
}

TEST(Reasons, samples_without_components_compare_nothing) {
  plain::Side empty = sideOf({0, 1}, {});
  empty.components = 0;
  empty.samples.resize(2);
  const Verdict verdict = judged(empty, empty);
  EXPECT_EQ(verdict.reason, Reason::kNothingCompared);
  EXPECT_EQ(verdict.instants, 2U);
}

TEST(Reasons, a_baseline_without_samples_is_within_whatever_the_other_has) {
  const Verdict verdict = judged({}, kPlain);
  EXPECT_EQ(verdict.status, Status::kWithin);
  EXPECT_EQ(verdict.judged, 0U);
  EXPECT_EQ(verdict.beyond, 3U);
}

TEST(Options, a_time_tolerance_below_zero_or_nan_is_refused) {
  EXPECT_THROW(judged(kPlain, kPlain, Given().within(-1)), std::invalid_argument);
  EXPECT_THROW(judged(kPlain, kPlain, Given().within(kNaN)), std::invalid_argument);
}

}  // namespace
}  // namespace kvr::compare::test
