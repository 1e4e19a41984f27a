#include "compare/differences.h"

#include <algorithm>
#include <cmath>

namespace kvr::compare {
namespace {

// Scales for differences whose squares would vanish or overflow.
constexpr double kUp = 0x1p600;
constexpr double kDown = 0x1p-600;

double joined(const std::array<double, 8>& s) {
  return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
}

double finiteOrZero(double difference) { return difference <= kGreatest ? difference : 0.0; }

}  // namespace

// The sums in the order in which values from `number` on go to them.
Differences::Sums Differences::turned(std::size_t number) const {
  Sums sums;
  for (std::size_t s = 0; s < kSums; ++s) sums[s] = ordinary_[(s + number) % kSums];
  return sums;
}

void Differences::keepTurned(const Sums& sums, std::size_t number) {
  for (std::size_t s = 0; s < kSums; ++s) ordinary_[(s + number) % kSums] = sums[s];
}

bool Differences::add(const Measured& values) {
  if (values.count == 0) return false;
  const std::size_t number = values.numberOf(0);
  Sums sums = turned(number);
  const Facts facts =
      kernels().measureDifferences({values.difference, values.size, values.tolerance}, values.count,
                                   mostRelativeTime_ ? mostRelative_ : -1.0, sums);
  if (facts.anyFar) {
    addFar(values);
  } else {
    keepTurned(sums, number);
  }
  if (facts.finite > 0) raise(values, facts);
  if (facts.mayRaise) raiseRelative(values);
  finite_ += facts.finite;
  return facts.anyUnfit;
}

bool Differences::addPlain(const double* a, const double* b, std::size_t count, std::size_t number,
                           double absolute, double relative) {
  if (!mostTime_ || !mostRelativeTime_) return false;
  Sums sums = turned(number);
  const Facts facts =
      kernels().measureValues({a, b, absolute, relative}, count, mostRelative_, sums);
  if (facts.anyUnfit || facts.anyFar || facts.mayRaise || facts.most > most_) return false;
  keepTurned(sums, number);
  finite_ += count;
  return true;
}

void Differences::addFar(const Measured& values) {
  for (std::size_t i = 0; i < values.count; ++i) {
    const double d = finiteOrZero(values.difference[i]);
    const std::size_t s = values.numberOf(i) % kSums;
    if (d > kLarge) {
      large_[s] += (d * kDown) * (d * kDown);
    } else if (d >= kSmall) {
      ordinary_[s] += d * d;
    } else {
      small_[s] += (d * kUp) * (d * kUp);
    }
  }
}

void Differences::raise(const Measured& values, const Facts& facts) {
  const double* const begin = values.difference;
  const double* const end = begin + values.count;
  const auto timeAt = [&](const double* found) {
    return values.timeOf(static_cast<std::size_t>(found - begin));
  };
  if (!mostTime_) {
    mostTime_ = timeAt(std::find_if(begin, end, [](double d) { return d <= kGreatest; }));
  }
  if (facts.most <= most_) return;
  most_ = facts.most;
  mostTime_ = timeAt(std::find(begin, end, most_));
}

void Differences::raiseRelative(const Measured& values) {
  std::array<double, kBlock> quotients;
  double most = -1.0;
  for (std::size_t i = 0; i < values.count; ++i) {
    const double size = values.size[i];
    const double difference = values.difference[i];
    const bool counts = (size > 0.0) & (size <= kGreatest) & (difference <= kGreatest);
    const double quotient = difference / size;
    quotients[i] = counts ? quotient : -1.0;
    most = most < quotients[i] ? quotients[i] : most;
  }
  if (most < 0.0 || (mostRelativeTime_ && most <= mostRelative_)) return;
  mostRelative_ = most;
  const double* const found = std::find(quotients.data(), quotients.data() + values.count, most);
  mostRelativeTime_ = values.timeOf(static_cast<std::size_t>(found - quotients.data()));
}

void Differences::writeTo(Verdict& verdict) const {
  verdict.maxDifference = most_;
  verdict.maxDifferenceTime = mostTime_;
  verdict.maxRelative = mostRelative_;
  verdict.maxRelativeTime = mostRelativeTime_;
  if (finite_ == 0) return;
  const auto count = static_cast<double>(finite_);
  const double small = joined(small_);
  const double ordinary = joined(ordinary_);
  const double large = joined(large_);
  if (large > 0.0) {
    verdict.rms = std::sqrt((large + ordinary * kDown * kDown) / count) * kUp;
  } else if (ordinary > 0.0) {
    verdict.rms = std::sqrt((ordinary + small * kDown * kDown) / count);
  } else {
    verdict.rms = std::sqrt(small / count) * kDown;
  }
}

}  // namespace kvr::compare
