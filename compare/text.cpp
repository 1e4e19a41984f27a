// The verdict in words.
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>

#include "compare/compare.h"
#include "compare/tolerance_rule.h"

namespace kvr::compare {
namespace {

// The shortest text that reads back as the same number.
std::string textOf(double number) {
  char text[32];
  const std::to_chars_result end = std::to_chars(text, text + sizeof text, number);
  return {text, end.ptr};
}

std::string timeText(double time, Clock clock) {
  return clock == Clock::kDate ? dateText(time) : textOf(time);
}

std::string textOf(std::size_t count) { return std::to_string(count); }

std::string textOf(const std::complex<double>& value, bool isComplex) {
  if (std::isnan(value.real()) || std::isnan(value.imag())) return "no number";
  std::string text = textOf(value.real());
  if (!isComplex) return text;
  if (!std::signbit(value.imag())) text += '+';
  return text + textOf(value.imag()) + 'i';
}

// "1 instant", "2 instants".
std::string counted(std::size_t count, const std::string& what) {
  return textOf(count) + ' ' + what + (count == 1 ? "" : "s");
}

std::string textOf(Source source) {
  switch (source) {
    case Source::kOwn:
      return "from the signal";
    case Source::kRun:
      return "from the run";
    case Source::kOverride:
      return "as given";
  }
  return "";
}

// The field that decides how much is allowed for a value.
std::string origin(const ValueOut& value, const Tolerance& tolerance) {
  const ToleranceRule rule(tolerance);
  if (rule.isFunction()) return "by " + tolerance.fcnCall;
  const double absolute = rule.absoluteAt(value.time);
  const double relative = rule.relativeAt(value.time);
  const double size = std::hypot(value.baseline.real(), value.baseline.imag());
  return absolute < relative * size ? "relative " + textOf(relative)
                                    : "absolute " + textOf(absolute);
}

std::string firstValueOut(const Verdict& verdict, const Settings& settings, Source source,
                          Clock clock) {
  const ValueOut& first = *verdict.first;
  const std::string was = textOf(first.baseline, verdict.complexBaseline);
  const std::string is = textOf(first.other, verdict.complexOther);
  std::string text = "first at " + timeText(first.time, clock);
  if (first.component > 0) text += " in component " + textOf(first.component);
  text += ": " + is + " instead of " + was;
  if (!std::isfinite(first.difference)) return text;
  text += ", off by " + textOf(first.difference);
  if (std::isnan(first.tolerance)) return text;
  return text + ", allowed " + textOf(first.tolerance) + " (" + origin(first, settings.tolerance) +
         ", " + textOf(source) + ")";
}

std::string describeOut(const Verdict& verdict, const Settings& settings, Source source,
                        Clock clock) {
  std::string text = "out";
  if (verdict.first) {
    text += " at " + textOf(verdict.instantsOut) + " of " + counted(verdict.instants, "instant") +
            ", " + firstValueOut(verdict, settings, source, clock);
  }
  if (verdict.uncovered == 0) return text;
  text += verdict.first ? "; " : ": ";
  return text + "the other does not cover " + counted(verdict.uncovered, "sample") +
         " of the baseline";
}

std::string describeWithin(const Verdict& verdict, Clock clock) {
  if (verdict.judged == 0) {
    return verdict.instants == 0
               ? "within: the baseline has no samples"
               : "within: the baseline has no number at " + counted(verdict.instants, "instant");
  }
  std::string text = "within at " + counted(verdict.instants, "instant");
  if (verdict.maxDifference > 0) {
    text += ", off by at most " + textOf(verdict.maxDifference) + " at " +
            timeText(*verdict.maxDifferenceTime, clock);
  }
  if (verdict.uncovered > 0) {
    text +=
        "; the other does not cover " + counted(verdict.uncovered, "sample") + " of the baseline";
  }
  return text;
}

std::string describeIncomparable(const Verdict& verdict) {
  switch (verdict.reason) {
    case Reason::kNone:
      break;
    case Reason::kNoValues:
      return "incomparable: a side has no readable time series";
    case Reason::kNotNumeric:
      return "incomparable: the values of a side are not numbers";
    case Reason::kBadTime:
      return "incomparable: the times of a side are not usable";
    case Reason::kShapeDiffers:
      return "incomparable: the samples of the two sides differ in shape";
    case Reason::kBadSettings:
      return "incomparable: tolerance or sync options are not usable";
    case Reason::kNoFunction:
      return "incomparable: the settings name a function that is not known";
    case Reason::kFunctionFailed:
      return "incomparable: a function failed: " + verdict.failure;
    case Reason::kNothingCompared:
      return "incomparable: there is no instant at which the two could be compared";
  }
  return "incomparable";
}

}  // namespace

std::string dateText(double seconds) {
  constexpr double kFirst = -62135596800.0;  // 0001-01-01
  constexpr double kEnd = 253402300800.0;    // 10000-01-01
  if (!(seconds >= kFirst && seconds < kEnd)) return textOf(seconds);
  using namespace std::chrono;
  const double whole = std::floor(seconds);
  const sys_time<microseconds> moment{
      microseconds{static_cast<std::int64_t>(whole) * 1'000'000 +
                   static_cast<std::int64_t>(std::round((seconds - whole) * 1e6))}};
  const sys_days day = floor<days>(moment);
  const year_month_day date{day};
  const hh_mm_ss<microseconds> clock{moment - day};
  char text[40];
  std::snprintf(
      text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d.%06d", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  std::string found = text;
  found.erase(found.find_last_not_of('0') + 1);
  if (found.back() == '.') found.assign(text, 19);
  if (found.ends_with(" 00:00:00")) found.resize(10);
  return found;
}

std::string describe(const Verdict& verdict, const Settings& settings, Source toleranceSource,
                     Clock clock) {
  switch (verdict.status) {
    case Status::kWithin:
      return describeWithin(verdict, clock);
    case Status::kOut:
      return describeOut(verdict, settings, toleranceSource, clock);
    case Status::kMissing:
      return "missing: the other has no such signal";
    case Status::kExtra:
      return "extra: the baseline has no such signal";
    case Status::kIncomparable:
      break;
  }
  return describeIncomparable(verdict);
}

const char* nameOf(Status status) {
  switch (status) {
    case Status::kWithin:
      return "within";
    case Status::kOut:
      return "out";
    case Status::kMissing:
      return "missing";
    case Status::kExtra:
      return "extra";
    case Status::kIncomparable:
      break;
  }
  return "incomparable";
}

const char* nameOf(Reason reason) {
  switch (reason) {
    case Reason::kNone:
      break;
    case Reason::kNoValues:
      return "no-values";
    case Reason::kNotNumeric:
      return "not-numeric";
    case Reason::kBadTime:
      return "bad-time";
    case Reason::kShapeDiffers:
      return "shape-differs";
    case Reason::kBadSettings:
      return "bad-settings";
    case Reason::kNoFunction:
      return "no-function";
    case Reason::kFunctionFailed:
      return "function-failed";
    case Reason::kNothingCompared:
      return "nothing-compared";
  }
  return "";
}

}  // namespace kvr::compare
