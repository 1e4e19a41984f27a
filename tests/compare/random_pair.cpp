#include "tests/compare/random_pair.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "compare/checks.h"
#include "compare/comparison.h"
#include "compare/reason.h"
#include "tests/compare/same_verdict.h"

namespace kvr::compare::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class Maker {
 public:
  explicit Maker(const Choose& choose) : choose_(choose) {}

  RandomPair pair();

 private:
  bool onceIn(int times) { return choose_(times) == times - 1; }
  double oneOf(const std::vector<double>& values) {
    return values[static_cast<std::size_t>(choose_(static_cast<int>(values.size())))];
  }

  Layout layout(bool forTimes);
  std::size_t length();
  std::vector<double> times(std::size_t count);
  std::vector<double> timesLike(const std::vector<double>& times);
  double value();
  std::complex<double> number(bool isComplex);
  std::complex<double> near(std::complex<double> x, bool isComplex);
  void fill(plain::Side& side, const plain::Side* like);
  void keep(plain::Side& side, const Layout& times, const Layout& values);
  Tolerance tolerance();
  Sync sync();
  void addFunctions(Settings& settings);
  Options options();

  const Choose& choose_;
  bool isWild_ = false;  // infinities, NaN and huge numbers among the values
};

Layout Maker::layout(bool forTimes) {
  Layout layout;
  if (onceIn(3)) {
    layout.numericClass = static_cast<NumericClass>(forTimes ? 1 + choose_(10) : choose_(11));
  }
  layout.isColumnMajor = choose_(2) == 0;
  layout.isInterleaved = choose_(2) == 0;
  layout.isReversed = onceIn(4);
  layout.gap = onceIn(4) ? static_cast<std::size_t>(choose_(9)) : 0;
  layout.offset = onceIn(4) ? static_cast<std::size_t>(choose_(9)) : 0;
  return layout;
}

std::size_t Maker::length() {
  if (onceIn(200)) return static_cast<std::size_t>(1000 + choose_(60));  // about a block
  if (onceIn(4)) return static_cast<std::size_t>(choose_(60));
  return static_cast<std::size_t>(choose_(9));
}

std::vector<double> Maker::times(std::size_t count) {
  std::vector<double> times;
  double t = oneOf({0.0, -0.0, -2.0, 1.0, 0.3, 3.0});
  const bool hasEvents = choose_(2) == 0;
  for (std::size_t i = 0; i < count; ++i) {
    times.push_back(t);
    const double step = oneOf({1.0, 0.5, 0.25, 1.0, 0.1, 2.0});
    if (!hasEvents || !onceIn(3)) t += step;
  }
  if (onceIn(50) && count > 0) {
    times[static_cast<std::size_t>(choose_(static_cast<int>(count)))] =
        oneOf({kNaN, kInfinity, -kInfinity, -100.0, 100.0});
  }
  return times;
}

std::vector<double> Maker::timesLike(const std::vector<double>& times) {
  std::vector<double> other = times;
  if (onceIn(2)) return other;
  const double shift = oneOf({0.0, 0.25, -0.5, 1.0});
  for (double& t : other) t += shift;
  for (std::size_t i = 0; i < other.size(); ++i) {
    if (onceIn(8)) other.erase(other.begin() + static_cast<std::ptrdiff_t>(i));
  }
  for (std::size_t i = 0; i < other.size(); ++i) {
    if (onceIn(8)) other.insert(other.begin() + static_cast<std::ptrdiff_t>(i), other[i]);
  }
  return other;
}

double Maker::value() {
  if (isWild_ && onceIn(4)) {
    return oneOf({kNaN, kInfinity, -kInfinity, 1e308, -1.7e308, 5e-324, -1e-200, 1e200, kNaN});
  }
  if (onceIn(3)) return oneOf({0.1, 0.3, 2.0 / 3.0, 7.7, 1e-3, 12345.678});
  return oneOf({0.0, 1.0, -1.0, 2.0, 1.5, -0.0, 3.0, 4.0, 100.0});
}

std::complex<double> Maker::number(bool isComplex) {
  const double real = value();
  return {real, isComplex ? value() : 0.0};
}

// A number that is the same as `x`, or off by little, or any.
std::complex<double> Maker::near(std::complex<double> x, bool isComplex) {
  if (onceIn(3)) return number(isComplex);
  const double shift = oneOf({0.0, 0.0, 0.0, 0.5, -0.5, 1e-9, 1.0, 0.1});
  return {x.real() + shift, isComplex ? x.imag() : 0.0};
}

void Maker::fill(plain::Side& side, const plain::Side* like) {
  std::size_t count = side.times.size();
  if (onceIn(100)) count += count > 0 && onceIn(2) ? static_cast<std::size_t>(-1) : 1;
  for (std::size_t i = 0; i < count; ++i) {
    plain::Sample sample;
    for (std::size_t c = 0; c < side.components; ++c) {
      const bool hasLike = like != nullptr && i < like->samples.size() && c < like->components;
      sample.push_back(hasLike ? near(like->samples[i][c], side.isComplex)
                               : number(side.isComplex));
    }
    side.samples.push_back(sample);
  }
}

// Makes the numbers such as the class of the layout can hold.
void Maker::keep(plain::Side& side, const Layout& times, const Layout& values) {
  for (double& t : side.times) t = kept(t, times.numericClass);
  for (plain::Sample& sample : side.samples) {
    for (std::complex<double>& x : sample) {
      x = {kept(x.real(), values.numericClass),
           side.isComplex ? kept(x.imag(), values.numericClass) : 0.0};
    }
  }
}

Tolerance Maker::tolerance() {
  Tolerance tolerance;
  tolerance.toleranceType = onceIn(100) ? 3 : choose_(3);
  tolerance.absolute = oneOf({0.0, 0.5, 1.0, 0.1, 0.0, 2.0});
  tolerance.relative = oneOf({0.0, 0.1, 0.5, 0.0, 0.01, 2.0});
  tolerance.timeStart = oneOf({0.0, -5.0, 1.0, 0.5, -kInfinity});
  tolerance.timeEnd = oneOf({3.0, 10.0, 100.0, 1.5, kInfinity, 0.0});
  tolerance.timeStep = oneOf({0.0, 0.0, 1.0, 0.5, 0.3});
  tolerance.initAbsTolVal = oneOf({0.5, 1.0, 0.0, 4.0});
  tolerance.absStep = oneOf({0.0, 0.0, 0.1, -0.1, 1.0});
  tolerance.initRelTolVal = oneOf({0.0, 0.1, 0.5, 2.0});
  tolerance.relStep = oneOf({0.0, 0.0, 0.1, -0.05});
  if (onceIn(40)) {
    double* const fields[] = {
        &tolerance.absolute, &tolerance.relative,      &tolerance.timeStart,
        &tolerance.timeEnd,  &tolerance.timeStep,      &tolerance.absStep,
        &tolerance.relStep,  &tolerance.initAbsTolVal, &tolerance.initRelTolVal};
    *fields[choose_(9)] = oneOf({kNaN, kInfinity, -kInfinity, -1.0});
  }
  return tolerance;
}

Sync Maker::sync() {
  Sync sync;
  sync.SyncMethod = onceIn(200) ? 3 : choose_(3);
  sync.InterpMethod = onceIn(200) ? 2 : choose_(2);
  sync.UniformTimeInterval = oneOf({1.0, 0.5, 0.3, 0.1, 7.0});
  if (onceIn(60)) sync.UniformTimeInterval = oneOf({0.0, -1.0, kNaN, kInfinity, 1e-12});
  sync.syncType = onceIn(6) ? 1 : 0;
  return sync;
}

std::vector<double> everySecond(std::span<const double> times, double shift) {
  std::vector<double> instants;
  for (std::size_t i = 0; i < times.size(); i += 2) instants.push_back(times[i] + shift);
  if (!times.empty()) instants.push_back(instants.back());
  return instants;
}

std::vector<double> shareOf(const AtInstants& at, bool onePerValue, int fault) {
  std::vector<double> tolerances;
  const std::size_t count = onePerValue ? at.baseline.size() : at.instants.size();
  for (std::size_t i = 0; i < count; ++i) {
    const double a = at.components == 0 ? 0.0 : at.baseline[onePerValue ? i : i * at.components];
    tolerances.push_back(std::isnan(a) ? (onePerValue ? a : 0.25) : std::abs(a) / 4);
  }
  if (fault == 1 && count > 0) tolerances[count / 2] = -1.0;
  if (fault == 2 && count > 0) tolerances[count / 2] = kNaN;
  if (fault == 3) tolerances.push_back(0.0);
  return tolerances;
}

void Maker::addFunctions(Settings& settings) {
  const int kind = choose_(12);
  const double shift = oneOf({0.0, 0.2, -1.0});
  if (kind > 0) {
    settings.syncFunction = [kind, shift](std::span<const double> f, std::span<const double> g) {
      if (kind == 1) throw std::runtime_error("no instants");
      std::vector<double> instants = everySecond(kind % 2 == 0 ? f : g, shift);
      if (kind == 2) instants.push_back(-1000.0);
      return instants;
    };
  }
  const int other = choose_(12);
  const bool onePerValue = choose_(2) == 0;
  if (other > 0) {
    settings.toleranceFunction = [other, onePerValue](const AtInstants& at) {
      if (other == 5) throw std::runtime_error("no tolerance");
      return shareOf(at, onePerValue, other);
    };
  }
}

Options Maker::options() {
  Options options;
  if (choose_(2) == 0) options.timeTolerance = oneOf({0.25, 0.5, 1.0, 3.0, 0.1, kInfinity, 10.0});
  if (onceIn(3)) options.coverage = Coverage::kCommon;
  return options;
}

RandomPair Maker::pair() {
  RandomPair pair;
  isWild_ = onceIn(3);
  pair.baselineTimes = layout(true);
  pair.baselineValues = layout(false);
  pair.otherTimes = onceIn(2) ? layout(true) : pair.baselineTimes;
  pair.otherValues = onceIn(2) ? layout(false) : pair.baselineValues;
  const std::size_t components = onceIn(3) ? static_cast<std::size_t>(choose_(5)) : std::size_t{1};
  pair.baseline.components = pair.other.components = components;
  if (onceIn(60)) pair.other.components = components + 1;
  pair.baseline.isComplex = onceIn(6);
  pair.other.isComplex = onceIn(2) ? pair.baseline.isComplex : onceIn(6);
  pair.baseline.times = times(length());
  pair.other.times = onceIn(2) ? timesLike(pair.baseline.times) : times(length());
  fill(pair.baseline, nullptr);
  fill(pair.other, onceIn(3) ? nullptr : &pair.baseline);
  keep(pair.baseline, pair.baselineTimes, pair.baselineValues);
  keep(pair.other, pair.otherTimes, pair.otherValues);
  pair.settings.tolerance = tolerance();
  pair.settings.sync = sync();
  addFunctions(pair.settings);
  pair.options = options();
  pair.mostScanned = static_cast<std::size_t>(choose_(4)) * 3;
  return pair;
}

std::string textOf(const plain::Side& side) {
  std::ostringstream text;
  text << side.components << (side.isComplex ? " complex" : " real") << " a sample, times";
  text << std::hexfloat;
  for (const double t : side.times) text << ' ' << t;
  text << "\n  values";
  for (const plain::Sample& sample : side.samples) {
    text << " (";
    for (const auto& x : sample) text << ' ' << x.real() << (side.isComplex ? "," : "");
    if (side.isComplex) {
      for (const auto& x : sample) text << ' ' << x.imag() << 'i';
    }
    text << ')';
  }
  return text.str();
}

Verdict judgedBySteps(const Series& baseline, const Series& other, const RandomPair& pair) {
  try {
    requireReadable(baseline, other);
    return Comparison(baseline, other, pair.settings, pair.options, nullptr, pair.mostScanned)
        .run();
  } catch (const Incomparable& found) {
    Verdict verdict;
    verdict.status = Status::kIncomparable;
    verdict.reason = found.reason;
    return verdict;
  }
}

}  // namespace

std::string RandomPair::describe() const {
  std::ostringstream text;
  const Tolerance& t = settings.tolerance;
  const Sync& s = settings.sync;
  text << "baseline " << textOf(baseline) << "\nother " << textOf(other) << "\ntolerance "
       << t.toleranceType << ": " << t.absolute << ' ' << t.relative << " / " << t.timeStart << ' '
       << t.timeEnd << ' ' << t.timeStep << ' ' << t.initAbsTolVal << ' ' << t.absStep << ' '
       << t.initRelTolVal << ' ' << t.relStep << "\nmethod " << s.SyncMethod << " interpolation "
       << s.InterpMethod << " interval " << s.UniformTimeInterval << " type " << s.syncType
       << "\ntime tolerance " << options.timeTolerance << " coverage "
       << (options.coverage == Coverage::kBaseline ? "baseline" : "common") << " scanned "
       << mostScanned << '\n';
  return text.str();
}

RandomPair randomPair(const Choose& choose) { return Maker(choose).pair(); }

std::string disagreement(const RandomPair& pair) {
  const Verdict expected = plain::judge(pair.baseline, pair.other, pair.settings, pair.options);
  const OwnedSeries baseline(pair.baseline, pair.baselineTimes, pair.baselineValues);
  const OwnedSeries other(pair.other, pair.otherTimes, pair.otherValues);
  const Verdict found = judgedBySteps(baseline.view, other.view, pair);
  const std::string difference = differenceOf(expected, found);
  return difference.empty() ? "" : difference + "\n" + pair.describe();
}

}  // namespace kvr::compare::test
