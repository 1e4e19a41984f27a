#include "compare/second_look.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

#include "compare/differences.h"
#include "compare/shape.h"
#include "compare/values.h"

namespace kvr::compare {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The first time tried from `from` on, in steps that double, for which `isBefore` does not hold.
// Steps from call to call then cost no more than the way they go.
template <class IsBefore>
std::size_t gallop(std::size_t from, std::size_t count, IsBefore isBefore) {
  std::size_t low = from;
  std::size_t step = 1;
  while (low < count && count - low > step && isBefore(low + step - 1)) {
    low += step;
    step *= 2;
  }
  std::size_t high = std::min(count, low + step);
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (isBefore(middle)) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

// Doubles numbered in their order, so that the number between two halves the doubles between them.
std::int64_t numberOf(double value) {
  const auto bits = std::bit_cast<std::int64_t>(value);
  return bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits;
}
double doubleOf(std::int64_t number) {
  return std::bit_cast<double>(number < 0 ? std::numeric_limits<std::int64_t>::min() - number
                                          : number);
}

// The least double for which `holds` does, which holds from some double on, or infinity.
template <class Holds>
double leastFor(Holds holds) {
  std::int64_t low = numberOf(-kGreatest);
  std::int64_t high = numberOf(kInfinity);
  while (low < high) {
    const std::int64_t middle = std::midpoint(low, high);
    if (holds(doubleOf(middle))) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return doubleOf(low);
}

}  // namespace

SecondLook::SecondLook(const Series& baseline, const Times& times, const ToleranceRule& rule,
                       bool isLinear, bool isComplex, double timeTolerance, std::size_t mostScanned)
    : numbers_(baseline.values),
      data_(inPlace(baseline.values, componentsOf(baseline.shape))),
      components_(componentsOf(baseline.shape)),
      times_(times),
      rule_(rule),
      isLinear_(isLinear),
      looks_(timeTolerance > 0 && !isComplex),
      timeTolerance_(timeTolerance),
      mostScanned_(mostScanned) {}

bool SecondLook::forgives(double t, double value, std::size_t component, double given) {
  if (!looks_) return false;
  if (!hasWindow_ || t != window_.t) moveTo(t);
  const Sought sought{value, rule_.isFunction() ? given : 0.0};
  if (window_.past - window_.first <= mostScanned_) {
    return std::isinf(value) ? scanInfinite(component, value) : scan(component, sought);
  }
  if (meetsNear(component, sought)) return true;
  MovingWindow& window = moving_[component];
  advance(window, component);
  return search(window, component, sought);
}

void SecondLook::moveTo(double t) {
  window_.t = t;
  window_.start = std::max(t - timeTolerance_, times_.first());
  window_.end = std::min(t + timeTolerance_, times_.last());
  const std::size_t from = hasWindow_ ? window_.first : 0;
  const std::size_t to = hasWindow_ ? window_.past : 0;
  const std::size_t near = hasWindow_ ? window_.next : 0;
  const std::size_t count = times_.count();
  hasWindow_ = true;
  window_.first =
      gallop(from, count, [this](std::size_t i) { return times_.at(i) < window_.start; });
  window_.next = gallop(std::max(near, window_.first), count,
                        [this](std::size_t i) { return times_.at(i) <= window_.t; });
  window_.past = gallop(std::max(to, window_.next), count,
                        [this](std::size_t i) { return times_.at(i) <= window_.end; });
  window_.startsBetween =
      window_.first > 0 && window_.first < count && times_.at(window_.first) != window_.start;
  window_.endsBetween =
      window_.past > 0 && window_.past < count && times_.at(window_.past - 1) != window_.end;
}

double SecondLook::valueOf(std::size_t sample, std::size_t component) const {
  return data_ != nullptr ? data_[sample * components_ + component]
                          : numberAt(numbers_, sample, component);
}

// The value at a time between sample `after` and the one before it.
double SecondLook::valueBetween(double s, std::size_t after, std::size_t component) const {
  const double left = valueOf(after - 1, component);
  if (!isLinear_) return left;
  const double from = times_.at(after - 1);
  const double weight = (s - from) / (times_.at(after) - from);
  return between(left, valueOf(after, component), weight);
}

double SecondLook::valueAtStart(std::size_t component) const {
  return valueBetween(window_.start, window_.first, component);
}

double SecondLook::valueAtEnd(std::size_t component) const {
  return valueBetween(window_.end, window_.past, component);
}

// Of a time that stands several times the first sample and the last.
bool SecondLook::isCandidate(std::size_t sample) const {
  const bool isFirst = sample == 0 || times_.at(sample - 1) != times_.at(sample);
  return isFirst || !endsPiece(sample);
}

bool SecondLook::endsPiece(std::size_t sample) const {
  return sample + 1 < times_.count() && times_.at(sample + 1) == times_.at(sample);
}

// Empty for a candidate that does not count.
Reach SecondLook::reachOf(double s, double value) const {
  if (std::isnan(value) || !rule_.judges(s)) return {};
  if (rule_.isFunction() || std::isinf(value)) return {value, value};
  const double tolerance = allowed(rule_.absoluteAt(s), rule_.relativeAt(s), std::abs(value));
  if (!(tolerance >= 0)) return {};
  return {value - tolerance, value + tolerance};
}

bool SecondLook::holds(const Reach& reach, const Sought& sought) {
  return reach.least - sought.given <= sought.value && sought.value <= reach.most + sought.given;
}

bool SecondLook::scan(std::size_t component, const Sought& sought) const {
  Reach piece;
  if (window_.startsBetween) piece = reachOf(window_.start, valueAtStart(component));
  bool ends = !isLinear_ && window_.startsBetween;
  for (std::size_t i = window_.first; i < window_.past; ++i) {
    if (ends) {
      if (holds(piece, sought)) return true;
      piece = {};
    }
    if (isCandidate(i)) piece.include(reachOf(times_.at(i), valueOf(i, component)));
    ends = !isLinear_ || endsPiece(i);
  }
  if (window_.endsBetween) {
    if (!isLinear_) {
      if (holds(piece, sought)) return true;
      piece = {};
    }
    piece.include(reachOf(window_.end, valueAtEnd(component)));
  }
  return holds(piece, sought);
}

// Whether one of the samples near the instant is enough, as it often is. The samples that may be
// looked at on average are few, so that the cost is bounded; what is spared goes to those that need
// to look further.
bool SecondLook::meetsNear(std::size_t component, const Sought& sought) {
  if (std::isinf(sought.value)) return false;
  credit_ += mostScanned_ / 2;
  const auto meets = [&](std::size_t i) {
    --credit_;
    return isCandidate(i) && holds(reachOf(times_.at(i), valueOf(i, component)), sought);
  };
  std::size_t before = window_.next;
  std::size_t after = window_.next;
  while (credit_ >= 2 && (before > window_.first || after < window_.past)) {
    if (before > window_.first && meets(--before)) return true;
    if (after < window_.past && meets(after++)) return true;
  }
  return false;
}

// Only a candidate of the same value forgives an infinite one.
bool SecondLook::scanInfinite(std::size_t component, double value) const {
  const auto equals = [&](double s, double candidate) {
    return candidate == value && rule_.judges(s);
  };
  if (window_.startsBetween && equals(window_.start, valueAtStart(component))) return true;
  if (window_.endsBetween && equals(window_.end, valueAtEnd(component))) return true;
  for (std::size_t i = window_.first; i < window_.past; ++i) {
    if (isCandidate(i) && equals(times_.at(i), valueOf(i, component))) return true;
  }
  return false;
}

void SecondLook::advance(MovingWindow& window, std::size_t component) const {
  if (window.end <= window_.first) {
    window.begin = window.middle = window.end = window.tailBegin = window_.first;
    window.toPieceEnd.clear();
    window.head = window.tail = {};
    window.headIsOpen = false;
    window.whole.clear();
  }
  for (; window.end < window_.past; ++window.end) take(window, window.end, component);
  if (window_.first >= window.middle) turnOver(window, component);
}

void SecondLook::take(MovingWindow& window, std::size_t sample, std::size_t component) const {
  if (isCandidate(sample)) {
    const double value = valueOf(sample, component);
    const Reach reach = reachOf(times_.at(sample), value);
    window.tail.include(reach);
    if (window.headIsOpen) window.head.include(reach);
    if (std::isinf(value) && !reach.isEmpty()) {
      (value > 0 ? window.newestPositive : window.newestNegative) = sample + 1;
    }
  }
  if (isLinear_ && !endsPiece(sample)) return;
  if (!window.tail.isEmpty()) window.whole.lay(window.tail, window.tailBegin, window_.first);
  window.tail = {};
  window.tailBegin = sample + 1;
  window.headIsOpen = false;
}

// Prepares for the window to begin anywhere up to its end: the work of one look at every sample.
void SecondLook::turnOver(MovingWindow& window, std::size_t component) const {
  window.begin = window_.first;
  window.middle = window.end;
  window.head = {};
  window.headIsOpen = isLinear_ && !endsPiece(window.end - 1);
  window.openFrom = window.headIsOpen ? std::max(window.begin, window.tailBegin) : window.end;
  if (!isLinear_) return;
  window.toPieceEnd.resize(window.middle - window.begin);
  Reach piece;
  for (std::size_t i = window.middle; i-- > window.begin;) {
    if (endsPiece(i)) piece = {};
    if (isCandidate(i)) piece.include(reachOf(times_.at(i), valueOf(i, component)));
    window.toPieceEnd[i - window.begin] = piece;
  }
}

// From a sample to the end of its piece, as far as it was taken in.
Reach SecondLook::front(const MovingWindow& window, std::size_t sample) {
  Reach reach = window.toPieceEnd[sample - window.begin];
  if (sample >= window.openFrom) reach.include(window.head);
  return reach;
}

bool SecondLook::search(MovingWindow& window, std::size_t component, const Sought& sought) const {
  Reach atStart;
  Reach atEnd;
  if (window_.startsBetween) atStart = reachOf(window_.start, valueAtStart(component));
  if (window_.endsBetween) atEnd = reachOf(window_.end, valueAtEnd(component));
  if (std::isinf(sought.value)) {
    const std::size_t newest = sought.value > 0 ? window.newestPositive : window.newestNegative;
    const auto equals = [&](const Reach& reach) {
      return reach.least == sought.value && reach.most == sought.value;
    };
    return newest > window_.first || equals(atStart) || equals(atEnd);
  }
  if (!isLinear_) {
    return holds(atStart, sought) || holds(atEnd, sought) || meetsWhole(window, sought);
  }
  atStart.include(front(window, window_.first));
  if (window.tailBegin <= window_.first) {
    atStart.include(atEnd);
    return holds(atStart, sought);
  }
  atEnd.include(window.tail);
  return holds(atStart, sought) || holds(atEnd, sought) || meetsWhole(window, sought);
}

// What a function allows is not part of the reaches: they are met by any value from which that
// leads to the one sought.
bool SecondLook::meetsWhole(MovingWindow& window, const Sought& sought) const {
  if (sought.given == 0) return window.whole.meets(sought.value, sought.value, window_.first);
  const double least =
      leastFor([&](double x) { return std::isinf(x) || x + sought.given >= sought.value; });
  const double beyond =
      leastFor([&](double x) { return std::isinf(x) || x - sought.given > sought.value; });
  const double most = std::nextafter(beyond, -kInfinity);
  return least <= most && window.whole.meets(least, most, window_.first);
}

}  // namespace kvr::compare
