#include "tests/compare/plain_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace kvr::compare::plain {
namespace {

using Number = std::complex<double>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool isNaN(Number x) { return std::isnan(x.real()) || std::isnan(x.imag()); }
bool isInfinite(Number x) { return std::isinf(x.real()) || std::isinf(x.imag()); }
double modulus(Number x) { return std::hypot(x.real(), x.imag()); }

enum class Edge {
  kLeft,
  kRight
};

// The rules that decide a pair, with what they need.
class Pair {
 public:
  Pair(const Side& f, const Side& g, const Settings& settings, const Options& options)
      : f_(f), g_(g), settings_(settings), tol_(settings.tolerance), options_(options) {}

  Verdict judge();

 private:
  struct Instant {
    double t;
    Sample a, b;
  };

  bool linear() const { return settings_.sync.InterpMethod == 1; }
  bool custom() const { return settings_.sync.syncType == 1; }
  bool isComplex() const { return f_.isComplex || g_.isComplex; }

  Reason earlyReason() const;
  bool badSettings() const;
  bool gridTooLong() const;
  static bool badTime(const Side& side);

  std::vector<double> instantTimes();
  std::vector<double> gridTimes() const;
  std::vector<double> customTimes();
  void collectInstants();
  void collectIntersection();
  void collect(double t);
  static std::vector<double> distinct(std::vector<double> times);

  static bool hasEvent(const Side& side, double t) {
    return std::count(side.times.begin(), side.times.end(), t) > 1;
  }
  static std::size_t firstAt(const Side& side, double t);
  static std::size_t lastUpTo(const Side& side, double t);
  Sample valueAt(const Side& side, double t, Edge edge) const;
  static Number between(Number a, Number b, double weight);

  bool inWindow(double t) const {
    return tol_.toleranceType != 1 || (tol_.timeStart <= t && t <= tol_.timeEnd);
  }
  double absoluteAt(double t) const;
  double relativeAt(double t) const;
  double toleranceAt(double t, Number a) const;
  bool tolerancesHold() const;
  void callToleranceFunction();
  double toleranceOf(std::size_t instant, std::size_t component) const;

  void judgeInstant(std::size_t instant);
  void judgeValue(std::size_t instant, std::size_t component, bool* instantOut);
  bool forgiven(double t, double b, std::size_t component, double givenTolerance) const;
  void noteOut(std::size_t instant, std::size_t component, double d, bool lost);
  void noteDifference(double t, Number a, double d, std::size_t number);
  void closeInterval();
  void countOutside();
  double rms() const;

  const Side& f_;
  const Side& g_;
  const Settings& settings_;
  const Tolerance& tol_;
  const Options& options_;
  bool span_ = false;
  double start_ = 0, end_ = 0;
  std::vector<Instant> instants_;
  std::vector<double> given_;  // what the tolerance function returned
  Verdict verdict_;
  Interval open_;
  bool worstIsUnbounded_ = false;
  double worstExcess_ = 0;
  std::size_t finite_ = 0;
  double sums_[3][8] = {};  // of small, ordinary and large differences
};

bool Pair::badTime(const Side& side) {
  if (side.times.size() != side.samples.size()) return true;
  for (std::size_t i = 0; i < side.times.size(); ++i) {
    if (!std::isfinite(side.times[i])) return true;
    if (i > 0 && side.times[i] < side.times[i - 1]) return true;
  }
  return false;
}

bool Pair::gridTooLong() const {
  return span_ && start_ + 2147483649.0 * settings_.sync.UniformTimeInterval <= end_;
}

bool Pair::badSettings() const {
  const auto& t = tol_;
  if (t.toleranceType < 0 || t.toleranceType > 2) return true;
  if (t.toleranceType == 0) {
    if (std::isnan(t.absolute) || t.absolute < 0) return true;
    if (std::isnan(t.relative) || t.relative < 0 || std::isinf(t.relative)) return true;
  }
  if (t.toleranceType == 1) {
    for (const double field : {t.timeStart, t.timeEnd, t.timeStep, t.initAbsTolVal, t.absStep,
                               t.initRelTolVal, t.relStep}) {
      if (std::isnan(field)) return true;
    }
    if (t.timeStep < 0) return true;
  }
  const auto& s = settings_.sync;
  if (s.SyncMethod < 0 || s.SyncMethod > 2 || s.InterpMethod < 0 || s.InterpMethod > 1) return true;
  if (s.syncType < 0 || s.syncType > 1) return true;
  if (s.syncType == 0 && s.SyncMethod == 2) {
    const double interval = s.UniformTimeInterval;
    if (!std::isfinite(interval) || !(interval > 0) || gridTooLong()) return true;
  }
  return false;
}

Reason Pair::earlyReason() const {
  if (badTime(f_) || badTime(g_)) return Reason::kBadTime;
  if (!f_.samples.empty() && !g_.samples.empty() && f_.components != g_.components) {
    return Reason::kShapeDiffers;
  }
  if (badSettings()) return Reason::kBadSettings;
  if (tol_.toleranceType == 2 && !settings_.toleranceFunction) return Reason::kNoFunction;
  if (custom() && !settings_.syncFunction) return Reason::kNoFunction;
  return Reason::kNone;
}

std::vector<double> Pair::distinct(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

std::vector<double> Pair::gridTimes() const {
  std::vector<double> times;
  for (double k = 0;; ++k) {
    const double t = start_ + k * settings_.sync.UniformTimeInterval;
    if (t > end_) return distinct(times);
    times.push_back(t);
  }
}

std::vector<double> Pair::customTimes() {
  const std::vector<double> times = settings_.syncFunction(f_.times, g_.times);
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (!std::isfinite(times[i])) throw std::runtime_error("not finite");
    if (i > 0 && times[i] < times[i - 1]) throw std::runtime_error("falling");
  }
  return distinct(times);
}

std::vector<double> Pair::instantTimes() {
  std::vector<double> times;
  if (custom()) {
    times = customTimes();
  } else if (settings_.sync.SyncMethod == 2) {
    times = gridTimes();
  } else {
    times = f_.times;
    times.insert(times.end(), g_.times.begin(), g_.times.end());
    times = distinct(times);
  }
  std::vector<double> inside;
  for (const double t : times) {
    if (start_ <= t && t <= end_) inside.push_back(t);
  }
  return inside;
}

std::size_t Pair::firstAt(const Side& side, double t) {
  std::size_t i = 0;
  while (side.times[i] != t) ++i;
  return i;
}

std::size_t Pair::lastUpTo(const Side& side, double t) {
  std::size_t last = 0;
  for (std::size_t i = 0; i < side.times.size(); ++i) {
    if (side.times[i] <= t) last = i;
  }
  return last;
}

Number Pair::between(Number a, Number b, double weight) {
  if (isNaN(a) || isNaN(b)) return {kNaN, kNaN};
  if (a == b) return a;
  if (isInfinite(a) || isInfinite(b)) return {kNaN, kNaN};
  return {a.real() + (b.real() - a.real()) * weight, a.imag() + (b.imag() - a.imag()) * weight};
}

Sample Pair::valueAt(const Side& side, double t, Edge edge) const {
  const std::size_t last = lastUpTo(side, t);
  if (!linear()) return side.samples[last];
  if (side.times[last] == t) {
    return side.samples[edge == Edge::kLeft ? firstAt(side, t) : last];
  }
  const Sample& a = side.samples[last];
  const Sample& b = side.samples[last + 1];
  const double weight = (t - side.times[last]) / (side.times[last + 1] - side.times[last]);
  Sample value;
  for (std::size_t c = 0; c < a.size(); ++c) value.push_back(between(a[c], b[c], weight));
  return value;
}

void Pair::collect(double t) {
  if (linear() && (hasEvent(f_, t) || hasEvent(g_, t))) {
    instants_.push_back({t, valueAt(f_, t, Edge::kLeft), valueAt(g_, t, Edge::kLeft)});
  }
  instants_.push_back({t, valueAt(f_, t, Edge::kRight), valueAt(g_, t, Edge::kRight)});
}

void Pair::collectIntersection() {
  const std::vector<double> tf = distinct(f_.times);
  const std::vector<double> tg = distinct(g_.times);
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < tf.size() && j < tg.size()) {
    if (std::abs(tf[i] - tg[j]) <= options_.timeTolerance) {
      if (linear() && (hasEvent(f_, tf[i]) || hasEvent(g_, tg[j]))) {
        instants_.push_back(
            {tf[i], f_.samples[firstAt(f_, tf[i])], g_.samples[firstAt(g_, tg[j])]});
      }
      instants_.push_back(
          {tf[i], f_.samples[lastUpTo(f_, tf[i])], g_.samples[lastUpTo(g_, tg[j])]});
      ++i;
      ++j;
    } else if (tf[i] < tg[j]) {
      ++i;
    } else {
      ++j;
    }
  }
}

void Pair::collectInstants() {
  if (!span_) return;
  if (!custom() && settings_.sync.SyncMethod == 1) {
    collectIntersection();
  } else {
    for (const double t : instantTimes()) collect(t);
  }
}

double Pair::absoluteAt(double t) const {
  if (tol_.toleranceType == 0) return tol_.absolute;
  const double k = tol_.timeStep > 0 ? std::floor((t - tol_.timeStart) / tol_.timeStep) : 0;
  return tol_.initAbsTolVal + k * tol_.absStep;
}

double Pair::relativeAt(double t) const {
  if (tol_.toleranceType == 0) return tol_.relative;
  const double k = tol_.timeStep > 0 ? std::floor((t - tol_.timeStart) / tol_.timeStep) : 0;
  return tol_.initRelTolVal + k * tol_.relStep;
}

double Pair::toleranceAt(double t, Number a) const {
  const double absolute = absoluteAt(t);
  const double relative = relativeAt(t) * modulus(a);
  return relative > absolute ? relative : absolute;
}

bool Pair::tolerancesHold() const {
  if (tol_.toleranceType != 1) return true;
  for (const Instant& instant : instants_) {
    if (!inWindow(instant.t)) continue;
    const double absolute = absoluteAt(instant.t);
    const double relative = relativeAt(instant.t);
    if (!(absolute >= 0) || !(relative >= 0) || std::isinf(relative)) return false;
  }
  return true;
}

void Pair::callToleranceFunction() {
  if (tol_.toleranceType != 2 || instants_.empty()) return;
  std::vector<double> t, a, aImaginary, b, bImaginary;
  for (const Instant& instant : instants_) {
    t.push_back(instant.t);
    for (const Number x : instant.a) {
      a.push_back(x.real());
      if (f_.isComplex) aImaginary.push_back(x.imag());
    }
    for (const Number x : instant.b) {
      b.push_back(x.real());
      if (g_.isComplex) bImaginary.push_back(x.imag());
    }
  }
  given_ = settings_.toleranceFunction({t, f_.components, a, aImaginary, b, bImaginary});
  if (given_.size() != t.size() && given_.size() != a.size()) throw std::runtime_error("shape");
  for (const double given : given_) {
    if (given < 0) throw std::runtime_error("negative");
  }
  for (std::size_t i = 0; i < t.size(); ++i) {
    for (std::size_t c = 0; c < f_.components; ++c) {
      const bool isNumber = !isNaN(instants_[i].a[c]);
      if (std::isnan(toleranceOf(i, c)) && isNumber) throw std::runtime_error("NaN");
    }
  }
}

double Pair::toleranceOf(std::size_t instant, std::size_t component) const {
  if (tol_.toleranceType == 2) {
    return given_.size() == instants_.size() ? given_[instant]
                                             : given_[instant * f_.components + component];
  }
  return toleranceAt(instants_[instant].t, instants_[instant].a[component]);
}

// Whether the baseline comes near enough to b within the time tolerance of t.
bool Pair::forgiven(double t, double b, std::size_t component, double givenTolerance) const {
  const double w = options_.timeTolerance;
  if (!(w > 0) || isComplex()) return false;
  const double lo = std::max(t - w, f_.times.front());
  const double hi = std::min(t + w, f_.times.back());
  std::vector<std::vector<std::pair<double, double>>> pieces(1);  // time and value
  const auto candidate = [&](double s, double value) {
    if (!linear()) pieces.emplace_back();
    pieces.back().emplace_back(s, value);
  };
  const auto number = [&](const Sample& sample) { return sample[component].real(); };
  candidate(lo, number(valueAt(f_, lo, Edge::kLeft)));
  for (const double s : distinct(f_.times)) {
    if (s < lo || s > hi) continue;
    candidate(s, number(f_.samples[firstAt(f_, s)]));
    if (!hasEvent(f_, s)) continue;
    pieces.emplace_back();
    candidate(s, number(f_.samples[lastUpTo(f_, s)]));
  }
  candidate(hi, number(valueAt(f_, hi, Edge::kRight)));

  for (const auto& piece : pieces) {
    double least = std::numeric_limits<double>::infinity();
    double most = -least;
    bool any = false;
    for (const auto& [s, value] : piece) {
      if (std::isnan(value) || !inWindow(s)) continue;
      if (std::isinf(b) && value == b) return true;
      double allowed = 0;
      if (!std::isinf(value)) {
        allowed = tol_.toleranceType == 2 ? givenTolerance : toleranceAt(s, value);
        if (!(allowed >= 0)) continue;
      }
      any = true;
      least = std::min(least, value - allowed);
      most = std::max(most, value + allowed);
    }
    if (any && !std::isinf(b) && least <= b && b <= most) return true;
  }
  return false;
}

void Pair::noteDifference(double t, Number a, double d, std::size_t number) {
  ++finite_;
  if (!verdict_.maxDifferenceTime || d > verdict_.maxDifference) {
    verdict_.maxDifference = d;
    verdict_.maxDifferenceTime = t;
  }
  const double size = modulus(a);
  if (size > 0 && std::isfinite(size)) {
    if (!verdict_.maxRelativeTime || d / size > verdict_.maxRelative) {
      verdict_.maxRelative = d / size;
      verdict_.maxRelativeTime = t;
    }
  }
  double* small = sums_[0];
  double* ordinary = sums_[1];
  double* large = sums_[2];
  if (d > 0x1p480) {
    large[number % 8] += (d * 0x1p-600) * (d * 0x1p-600);
  } else if (d >= 0x1p-480) {
    ordinary[number % 8] += d * d;
  } else {
    small[number % 8] += (d * 0x1p600) * (d * 0x1p600);
  }
}

double Pair::rms() const {
  if (finite_ == 0) return 0;
  const auto joined = [](const double* s) {
    return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
  };
  const double small = joined(sums_[0]);
  const double ordinary = joined(sums_[1]);
  const double large = joined(sums_[2]);
  const auto count = static_cast<double>(finite_);
  // 2^-1200 is no double.
  if (large > 0) return std::sqrt((large + ordinary * 0x1p-600 * 0x1p-600) / count) * 0x1p600;
  if (ordinary > 0) return std::sqrt((ordinary + small * 0x1p-600 * 0x1p-600) / count);
  return std::sqrt(small / count) * 0x1p-600;
}

void Pair::noteOut(std::size_t instant, std::size_t component, double d, bool lost) {
  const Instant& at = instants_[instant];
  ValueOut value;
  value.time = at.t;
  value.baseline = at.a[component];
  value.other = at.b[component];
  value.difference = d;
  const double allowed = toleranceOf(instant, component);
  value.tolerance = isInfinite(value.baseline) ? kNaN : allowed;
  value.component = component;
  ++verdict_.out;
  if (!verdict_.firstOut) {
    verdict_.firstOut = at.t;
    verdict_.first = value;
  }
  verdict_.lastOut = at.t;
  const bool unbounded = lost || !std::isfinite(d);
  const bool above = !verdict_.worst || (unbounded && !worstIsUnbounded_) ||
                     (!unbounded && !worstIsUnbounded_ && d - allowed > worstExcess_);
  if (!above) return;
  verdict_.worst = value;
  worstIsUnbounded_ = unbounded;
  worstExcess_ = d - allowed;
}

void Pair::judgeValue(std::size_t instant, std::size_t component, bool* instantOut) {
  const Instant& at = instants_[instant];
  const Number a = at.a[component];
  const Number b = at.b[component];
  const std::size_t number = instant * f_.components + component;
  if (!inWindow(at.t)) {
    ++verdict_.outside;
    return;
  }
  if (isNaN(a)) {
    ++(isNaN(b) ? verdict_.gaps : verdict_.gained);
    return;
  }
  ++verdict_.judged;
  if (isNaN(b)) {
    ++verdict_.lost;
    *instantOut = true;
    noteOut(instant, component, kNaN, true);
    return;
  }
  if (a == b) {
    noteDifference(at.t, a, 0, number);
    return;
  }
  const double d = isComplex() ? modulus(a - b) : std::abs(a.real() - b.real());
  if (std::isfinite(d)) noteDifference(at.t, a, d, number);
  const double allowed = toleranceOf(instant, component);
  if (std::isfinite(d) && d <= allowed) return;
  if (forgiven(at.t, b.real(), component, allowed)) return;
  *instantOut = true;
  noteOut(instant, component, d, false);
}

void Pair::closeInterval() {
  if (open_.count == 0) return;
  ++verdict_.intervalsTotal;
  if (verdict_.intervals.size() < 100) verdict_.intervals.push_back(open_);
  open_ = {};
}

void Pair::judgeInstant(std::size_t instant) {
  bool out = false;
  for (std::size_t c = 0; c < f_.components; ++c) judgeValue(instant, c, &out);
  if (!out) return closeInterval();
  ++verdict_.instantsOut;
  const double t = instants_[instant].t;
  if (open_.count == 0) open_.first = t;
  open_.last = t;
  ++open_.count;
}

void Pair::countOutside() {
  const double w = options_.timeTolerance;
  for (std::size_t i = 0; i < f_.times.size(); ++i) {
    const double t = f_.times[i];
    if (span_ && start_ <= t && t <= end_) continue;
    if (span_ && ((t < start_ && start_ - t <= w) || (t > end_ && t - end_ <= w))) continue;
    const auto isNumber = [](Number x) { return !isNaN(x); };
    const bool any = std::any_of(f_.samples[i].begin(), f_.samples[i].end(), isNumber);
    if (any && inWindow(t)) ++verdict_.uncovered;
  }
  for (const double t : g_.times) {
    if (!span_ || t < start_ || t > end_) ++verdict_.beyond;
  }
}

Verdict Pair::judge() {
  const auto incomparable = [&](Reason reason) {
    Verdict verdict;
    verdict.status = Status::kIncomparable;
    verdict.reason = reason;
    return verdict;
  };
  if (!f_.times.empty() && !g_.times.empty()) {
    start_ = std::max(f_.times.front(), g_.times.front());
    end_ = std::min(f_.times.back(), g_.times.back());
    span_ = start_ <= end_;
  }
  const Reason early = earlyReason();
  if (early != Reason::kNone) return incomparable(early);
  try {
    collectInstants();
    callToleranceFunction();
  } catch (const std::exception&) {
    return incomparable(Reason::kFunctionFailed);
  }
  if (!tolerancesHold()) return incomparable(Reason::kBadSettings);

  countOutside();
  verdict_.instants = instants_.size();
  for (std::size_t i = 0; i < instants_.size(); ++i) judgeInstant(i);
  closeInterval();
  verdict_.rms = rms();
  verdict_.complexBaseline = f_.isComplex;
  verdict_.complexOther = g_.isComplex;
  const bool failsCoverage = options_.coverage == Coverage::kBaseline && verdict_.uncovered > 0;
  if (verdict_.out > 0 || failsCoverage) {
    verdict_.status = Status::kOut;
  } else if (!f_.samples.empty() && verdict_.judged + verdict_.gaps + verdict_.gained == 0) {
    verdict_.status = Status::kIncomparable;
    verdict_.reason = Reason::kNothingCompared;
  }
  return verdict_;
}

}  // namespace

Verdict judge(const Side& baseline, const Side& other, const Settings& settings,
              const Options& options) {
  return Pair(baseline, other, settings, options).judge();
}

}  // namespace kvr::compare::plain
