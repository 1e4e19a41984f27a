// Judges whether one recorded signal agrees with another.
//
// The baseline decides what must be there. Both signals are functions of time: at every instant at
// which the baseline has a number, the other must have one within tolerance. What the other has
// beyond that is counted and never fails.
//
//   const double time[] = {0, 1, 2}, was[] = {1, 2, 3}, is[] = {1, 2, 3.5};
//   Settings settings;
//   settings.tolerance.absolute = 0.1;
//   const Verdict verdict = compare(seriesOf(time, was), seriesOf(time, is), settings);
//   // verdict.status == Status::kOut, verdict.firstOut == 2.0
//
// The arrays stay with the caller and are read in place. Every result depends on the numbers alone:
// it is the same, bit for bit, on every machine and under every instruction set. Calls share no
// state, so any number of threads may compare at a time.
//
// Cost: one pass over both series. A time tolerance adds at most n log n, however wide it is.
// Memory: a fixed amount below 1 MB; a tolerance or sync function needs its arguments whole, and a
// time tolerance keeps what lies in its window.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#define KVR_COMPARE_EXPORT __attribute__((visibility("default")))

namespace kvr::compare {

// ---- The two sides ----

enum class NumericClass : std::uint8_t {
  kLogical,  // a byte; everything but 0 is 1
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,   // beyond 2^53 rounded to the nearest double
  kUint64,  // likewise
  kSingle,
  kDouble,
};

// Numbers somewhere in the caller's memory, at any alignment: number c of sample i stands
// `i * sampleStride + c * componentStride` bytes after the first. Either stride may be 0 or less.
struct Numbers {
  const void* real = nullptr;
  const void* imaginary = nullptr;  // with the strides of `real`; null for real numbers
  NumericClass numericClass = NumericClass::kDouble;
  std::ptrdiff_t sampleStride = sizeof(double);
  std::ptrdiff_t componentStride = sizeof(double);
};

// What the values of a series are.
enum class Content : std::uint8_t {
  kNumbers,
  kNotNumeric,  // text, cells, structures, objects: not judged
  kNone,        // no readable time series
};

// What the times of a series count.
enum class Clock : std::uint8_t {
  kNumber,
  kDate,      // seconds since 1970-01-01; meets dates only
  kUnusable,  // not a vector of numbers, or a date that is not one
};

// A view of one signal. What it points to must outlive the call.
struct Series {
  Content content = Content::kNumbers;
  Clock clock = Clock::kNumber;
  Numbers times;  // the component stride is not used
  std::size_t timeCount = 0;
  Numbers values;
  std::size_t samples = 0;
  // Extent of each dimension of one sample; empty for a scalar. Trailing ones of 1 do not count.
  // Components are numbered as the component stride steps; both sides must number them alike.
  std::span<const std::size_t> shape;
};

// The series of one real double a sample.
inline Series seriesOf(std::span<const double> times, std::span<const double> values) {
  Series series;
  series.times.real = times.data();
  series.timeCount = times.size();
  series.values.real = values.data();
  series.samples = values.size();
  return series;
}

// ---- Settings: fields and codes are those of the store ----

struct Tolerance {
  std::int32_t toleranceType = 0;  // the group in force: 0, 1 or 2

  // Group 0: max(absolute, relative * |a|) for a baseline value a.
  double absolute = 0.0;
  double relative = 0.0;

  // Group 1: only times from timeStart to timeEnd are judged. At time t the tolerance is
  // max(initAbsTolVal + k * absStep, (initRelTolVal + k * relStep) * |a|) with
  // k = floor((t - timeStart) / timeStep), or 0 if timeStep is 0.
  double timeStart = 0.0;
  double timeEnd = 0.0;
  double timeStep = 0.0;
  double initAbsTolVal = 0.0;
  double absStep = 0.0;
  double initRelTolVal = 0.0;
  double relStep = 0.0;

  // Group 2: names the function that `Settings::toleranceFunction` holds.
  std::string fcnCall;
};

struct Sync {
  std::int32_t SyncMethod = 0;        // 0 union, 1 intersection, 2 uniform
  std::int32_t InterpMethod = 0;      // 0 zero-order hold, 1 linear
  double UniformTimeInterval = 0.01;  // above 0; used by uniform
  std::string customSyncMethod;       // names the function that `Settings::syncFunction` holds
  std::int32_t syncType = 0;          // 0: SyncMethod is in force, 1: customSyncMethod
};

// The values of both sides at all instants. Value c of instant i stands at i * components + c; the
// imaginary parts are empty where the side is real. Valid during the call only.
struct AtInstants {
  std::span<const double> instants;
  std::size_t components;
  std::span<const double> baseline, baselineImaginary;
  std::span<const double> other, otherImaginary;
};

// Gets the times of the baseline and of the other; returns the instants, which must not fall.
using SyncFunction =
    std::function<std::vector<double>(std::span<const double>, std::span<const double>)>;

// Returns one tolerance an instant, or one a value in the order of `AtInstants`: each at least 0,
// or NaN where the baseline is NaN.
using ToleranceFunction = std::function<std::vector<double>(const AtInstants&)>;

// An exception of a function makes the pair incomparable; `Stopped` passes through.
struct Settings {
  Tolerance tolerance;
  Sync sync;
  SyncFunction syncFunction;            // empty: none is registered
  ToleranceFunction toleranceFunction;  // likewise
};

enum class Coverage : std::uint8_t {
  kBaseline,  // baseline samples outside the common span make the pair out
  kCommon,    // they are counted only
};

struct Options {
  Coverage coverage = Coverage::kBaseline;
  // In units of time, at least 0. A value out of tolerance is still within if the baseline comes
  // close enough to it within this time.
  double timeTolerance = 0.0;
  // Called every few thousand samples; true ends the call with `Stopped`.
  std::function<bool()> stop;
};

// Raised by a call that `Options::stop` ended.
class KVR_COMPARE_EXPORT Stopped : public std::exception {
 public:
  ~Stopped() override;
  const char* what() const noexcept override;
};

// ---- The verdict ----

enum class Status : std::uint8_t {
  kWithin,
  kOut,
  kMissing,
  kExtra,
  kIncomparable
};

// Why a pair is incomparable, in the order of the tests.
enum class Reason : std::uint8_t {
  kNone,
  kNoValues,
  kNotNumeric,
  kBadTime,
  kShapeDiffers,
  kBadSettings,
  kNoFunction,
  kFunctionFailed,
  kNothingCompared,
};

// One value of the two signals that was found out.
struct ValueOut {
  double time = 0.0;
  std::complex<double> baseline, other;
  double difference = 0.0;  // the modulus for complex values; NaN or infinite if there is none
  double tolerance = 0.0;   // NaN where the baseline is infinite
  std::size_t component = 0;
};

// A maximal stretch of consecutive instants that are out.
struct Interval {
  double first = 0.0, last = 0.0;  // times
  std::size_t count = 0;           // instants
};

struct Verdict {
  Status status = Status::kWithin;
  Reason reason = Reason::kNone;
  std::string failure;           // what a function that failed said
  bool complexBaseline = false;  // whether the values of `worst` and `first` have imaginary parts
  bool complexOther = false;

  // Instants, and those with a value out.
  std::size_t instants = 0, instantsOut = 0;
  // Values; judged + gained + gaps + outside = instants * components. `lost` are out and judged.
  std::size_t judged = 0, out = 0, lost = 0, gained = 0, gaps = 0, outside = 0;
  // Samples outside the common span: of the baseline, those that have a number; of the other, all.
  std::size_t uncovered = 0, beyond = 0;

  std::optional<double> firstOut, lastOut;  // times of values out
  std::optional<ValueOut> first;            // the first value out
  // The value out with the largest difference - tolerance. Lost values and those without a finite
  // difference rank above; of equals the earliest, then the lowest component.
  std::optional<ValueOut> worst;

  // Over the judged values with a finite difference, forgiven ones included; the earliest of
  // equals.
  double maxDifference = 0.0;
  std::optional<double> maxDifferenceTime;
  double maxRelative = 0.0;  // difference / |baseline| where the baseline is finite and not 0
  std::optional<double> maxRelativeTime;
  // Root of the mean of the squares of the finite differences of judged values. They are added in a
  // fixed order: value number n (instant * components + component) goes to partial sum n % 8, and
  // the eight are joined as ((0+1)+(2+3))+((4+5)+(6+7)). Differences above 2^480 or below 2^-480
  // are scaled and have sums of their own, so that no square overflows or vanishes.
  double rms = 0.0;

  std::vector<Interval> intervals;  // the first 100
  std::size_t intervalsTotal = 0;
};

// The two signals on their common instants, for drawing. Laid out as `AtInstants`.
struct Aligned {
  std::size_t components = 1;
  std::vector<double> instants;
  std::vector<double> baseline, baselineImaginary;  // no imaginary parts where the side is real
  std::vector<double> other, otherImaginary;
  std::vector<double> difference;  // NaN where nothing was judged
  std::vector<double> tolerance;   // NaN where there is none
  std::vector<std::uint8_t> out;   // 1 for a value that is out
};

// Judges `other` against `baseline`. Incomparable pairs are a verdict, not a failure; all their
// counts are 0 unless the reason is kNothingCompared.
// Fails with std::invalid_argument if the time tolerance is negative or NaN, with Stopped if
// `options.stop` asked for it, and with std::bad_alloc.
KVR_COMPARE_EXPORT Verdict compare(const Series& baseline, const Series& other,
                                   const Settings& settings, const Options& options = {});

// Does what `compare` does and fills `aligned`, which is empty if the pair is incomparable.
KVR_COMPARE_EXPORT Verdict align(const Series& baseline, const Series& other,
                                 const Settings& settings, const Options& options,
                                 Aligned& aligned);

// Whose settings a pair was judged with.
enum class Source : std::uint8_t {
  kOwn,
  kRun,
  kOverride
};

// The verdict as one sentence, such as
//   out at 12 of 379 instants, first at 20.5: 872 instead of 857, off by 15, allowed 8.57
//   (relative 0.01, from the run)
// Numbers are the shortest that read back the same. Times of kDate are written by `dateText`.
KVR_COMPARE_EXPORT std::string describe(const Verdict& verdict, const Settings& settings,
                                        Source toleranceSource, Clock clock = Clock::kNumber);

// A time in seconds since 1970-01-01 as a date in UTC, to the nearest microsecond: "2016-06-29",
// "2016-06-29 12:30:05.25". Outside the years 1 to 9999, and for NaN, the number itself.
KVR_COMPARE_EXPORT std::string dateText(double seconds);

// As reports spell them: "within", "no-values". The reason kNone is "".
KVR_COMPARE_EXPORT const char* nameOf(Status status);
KVR_COMPARE_EXPORT const char* nameOf(Reason reason);

}  // namespace kvr::compare
