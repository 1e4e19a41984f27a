#include "compare/judge.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace kvr::compare {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::complex<double> valueOf(const SideValues& side, std::size_t i) {
  return {side.real[i], side.imaginary == nullptr ? 0.0 : side.imaginary[i]};
}

bool isNaN(const std::complex<double>& x) { return std::isnan(x.real()) || std::isnan(x.imag()); }
bool isInfinite(const std::complex<double>& x) {
  return std::isinf(x.real()) || std::isinf(x.imag());
}

}  // namespace

Judge::Judge(const ToleranceRule& rule, bool isComplex, SecondLook& secondLook, Summary& summary,
             Aligned* aligned)
    : rule_(rule),
      isComplex_(isComplex),
      secondLook_(secondLook),
      summary_(summary),
      aligned_(aligned),
      difference_(kBlock),
      size_(kBlock),
      tolerance_(kBlock),
      isOut_(aligned == nullptr ? 0 : kBlock) {}

void Judge::judge(const Chunk& chunk, const double* given) {
  if (hasBadTolerance_) return;
  if (isPlain(chunk, given)) return summary_.addJudged(chunk.size());
  const Range range = judgedInstants(chunk);
  const std::size_t first = range.begin * chunk.components.count;
  const std::size_t end = range.end * chunk.components.count;
  summary_.addOutside(chunk.size() - (end - first));
  if (given != nullptr) {
    std::copy(given, given + chunk.size(), tolerance_.data());
  }
  if (isComplex_) {
    findComplexDifferences(chunk, first, end);
  } else {
    findDifferences(chunk, first, end);
  }
  if (given == nullptr) findTolerances(chunk, range);
  if (hasBadTolerance_) return;

  if (aligned_ != nullptr) std::fill_n(isOut_.data(), kBlock, std::uint8_t{0});
  const Measured measured{chunk,
                          first,
                          end - first,
                          difference_.data() + first,
                          size_.data() + first,
                          tolerance_.data() + first};
  std::size_t judged = end - first;
  if (summary_.differences().add(measured)) {
    for (std::size_t i = first; i < end; ++i) {
      const bool isFit = difference_[i] <= tolerance_[i] && difference_[i] <= kGreatest;
      if (!isFit && !decide(chunk, i)) --judged;
    }
  }
  summary_.addJudged(judged);
  if (aligned_ != nullptr) align(chunk, first, end);
}

// The usual case in one look: constant tolerances, and every value within.
bool Judge::isPlain(const Chunk& chunk, const double* given) {
  const bool isUsual = given == nullptr && !rule_.isStepped() && !isComplex_ && aligned_ == nullptr;
  return isUsual && summary_.differences().addPlain(chunk.baseline.real, chunk.other.real,
                                                    chunk.size(), chunk.firstValue(),
                                                    rule_.absoluteAt(0.0), rule_.relativeAt(0.0));
}

// Times ascend, so that the window of group 1 is one range of them.
Judge::Range Judge::judgedInstants(const Chunk& chunk) const {
  if (!rule_.isStepped()) return {0, chunk.instants};
  const double* const end = chunk.times + chunk.instants;
  const auto isJudged = [this](double t) { return rule_.judges(t); };
  const double* const from = std::find_if(chunk.times, end, isJudged);
  const double* const to = std::find_if_not(from, end, isJudged);
  return {static_cast<std::size_t>(from - chunk.times), static_cast<std::size_t>(to - chunk.times)};
}

void Judge::findDifferences(const Chunk& chunk, std::size_t first, std::size_t end) {
  const double* const a = chunk.baseline.real;
  const double* const b = chunk.other.real;
  double* const difference = difference_.data();
  double* const size = size_.data();
  for (std::size_t i = first; i < end; ++i) {
    const double apart = std::abs(a[i] - b[i]);
    difference[i] = a[i] == b[i] ? 0.0 : apart;
    size[i] = std::abs(a[i]);
  }
}

void Judge::findComplexDifferences(const Chunk& chunk, std::size_t first, std::size_t end) {
  for (std::size_t i = first; i < end; ++i) {
    const std::complex<double> a = valueOf(chunk.baseline, i);
    const std::complex<double> b = valueOf(chunk.other, i);
    difference_[i] = a == b ? 0.0 : std::hypot(a.real() - b.real(), a.imag() - b.imag());
    size_[i] = std::hypot(a.real(), a.imag());
  }
}

void Judge::findTolerances(const Chunk& chunk, Range range) {
  const std::size_t perInstant = chunk.components.count;
  double* const tolerance = tolerance_.data();
  const double* const size = size_.data();
  if (!rule_.isStepped()) {
    const double absolute = rule_.absoluteAt(0.0);
    const double relative = rule_.relativeAt(0.0);
    for (std::size_t i = 0; i < chunk.size(); ++i) {
      tolerance[i] = allowed(absolute, relative, size[i]);
    }
    return;
  }
  for (std::size_t k = range.begin; k < range.end; ++k) {
    const double absolute = rule_.absoluteAt(chunk.times[k]);
    const double relative = rule_.relativeAt(chunk.times[k]);
    hasBadTolerance_ = !(absolute >= 0 && relative >= 0 && relative <= kGreatest);
    if (hasBadTolerance_) return;
    for (std::size_t i = k * perInstant; i < (k + 1) * perInstant; ++i) {
      tolerance[i] = allowed(absolute, relative, size[i]);
    }
  }
}

// Decides on a value that is not plainly within tolerance. Returns whether it is judged at all.
bool Judge::decide(const Chunk& chunk, std::size_t value) {
  const std::complex<double> a = valueOf(chunk.baseline, value);
  const std::complex<double> b = valueOf(chunk.other, value);
  const bool isLost = isNaN(b);
  if (isNaN(a)) {
    difference_[value] = kNaN;
    if (isLost) {
      summary_.addGap();
    } else {
      summary_.addGained();
    }
    return false;
  }
  const std::size_t instant = chunk.instantOf(value);
  const double t = chunk.times[instant];
  const std::size_t component = chunk.componentOf(value);
  const double tolerance = tolerance_[value];
  if (isLost) {
    difference_[value] = kNaN;
  } else if (secondLook_.forgives(t, b.real(), component, tolerance)) {
    return true;
  }
  if (aligned_ != nullptr) isOut_[value] = 1;
  summary_.addOut(chunk.firstInstant + instant,
                  {t, a, b, difference_[value], isInfinite(a) ? kNaN : tolerance, component},
                  isLost);
  return true;
}

// Outside the window of group 1 there are values, but neither difference nor tolerance.
void Judge::align(const Chunk& chunk, std::size_t first, std::size_t end) {
  const auto append = [&](std::vector<double>& to, const double* from) {
    if (from != nullptr) to.insert(to.end(), from, from + chunk.size());
  };
  append(aligned_->baseline, chunk.baseline.real);
  append(aligned_->baselineImaginary, chunk.baseline.imaginary);
  append(aligned_->other, chunk.other.real);
  append(aligned_->otherImaginary, chunk.other.imaginary);
  for (std::size_t i = 0; i < chunk.size(); ++i) {
    const bool isInside = first <= i && i < end;
    const bool hasTolerance = isInside && size_[i] <= kGreatest;
    aligned_->difference.push_back(isInside ? difference_[i] : kNaN);
    aligned_->tolerance.push_back(hasTolerance ? tolerance_[i] : kNaN);
    aligned_->out.push_back(isInside ? isOut_[i] : std::uint8_t{0});
  }
}

}  // namespace kvr::compare
