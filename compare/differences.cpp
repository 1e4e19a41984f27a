#include "compare/differences.h"

#include <algorithm>
#include <cmath>

namespace kvr::compare {
namespace {

// Squares of differences from kSmall to kLarge, up to 2^60 of them, add up without overflow and
// without loss to underflow. Others are scaled before they are squared.
constexpr double kSmall = 0x1p-480;
constexpr double kLarge = 0x1p480;
constexpr double kUp = 0x1p600;
constexpr double kDown = 0x1p-600;

double joined(const std::array<double, 8>& s) {
  return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7]));
}

double finiteOrZero(double difference) { return difference <= kGreatest ? difference : 0.0; }

}  // namespace

bool Differences::add(const Measured& values) {
  if (values.count == 0) return false;
  // Sum s of the call is sum (s + shift) % 8 of the comparison.
  const std::size_t shift = values.numberOf(0) % kSums;
  Sums sums;
  for (std::size_t s = 0; s < kSums; ++s) sums[s] = ordinary_[(s + shift) % kSums];
  const Facts facts = measure(values, sums);
  if (facts.anyFar) {
    addFar(values);
  } else {
    for (std::size_t s = 0; s < kSums; ++s) ordinary_[(s + shift) % kSums] = sums[s];
  }
  if (facts.finite > 0) raise(values, facts);
  if (facts.mayRaise) raiseRelative(values);
  finite_ += facts.finite;
  return facts.anyUnfit;
}

// One pass that the compiler turns into vector code: eight values at a time, each with its own sum.
Differences::Facts Differences::measure(const Measured& values, Sums& sums) const {
  std::array<double, kSums> most{};
  std::array<std::uint64_t, kSums> infinite{}, unfit{}, far{}, raises{};
  // A quotient above the greatest so far has a dividend of at least their product, rounded or not.
  const double bound = mostRelativeTime_ ? mostRelative_ : -1.0;
  const double least = mostRelativeTime_ ? 0.0 : -1.0;
  const auto take = [&](std::size_t s, std::size_t i) {
    const double difference = values.difference[i];
    const double size = values.size[i];
    const double finite = finiteOrZero(difference);
    most[s] = most[s] < finite ? finite : most[s];
    sums[s] += finite * finite;
    infinite[s] += difference <= kGreatest ? std::uint64_t{0} : std::uint64_t{1};
    unfit[s] |= difference <= values.tolerance[i] ? std::uint64_t{0} : std::uint64_t{1};
    far[s] |= finite > kLarge ? std::uint64_t{1} : std::uint64_t{0};
    far[s] |= (finite < kSmall ? finite : 0.0) > 0.0 ? std::uint64_t{1} : std::uint64_t{0};
    raises[s] |= (finite >= bound * size ? finite : -1.0) > least ? std::uint64_t{1}
                                                                  : std::uint64_t{0};
  };
  std::size_t i = 0;
  for (; i + kSums <= values.count; i += kSums) {
    for (std::size_t s = 0; s < kSums; ++s) take(s, i + s);
  }
  for (std::size_t s = 0; i + s < values.count; ++s) take(s, i + s);

  Facts facts{0.0, values.count, false, false, false};
  for (std::size_t s = 0; s < kSums; ++s) {
    facts.most = std::max(facts.most, most[s]);
    facts.finite -= infinite[s];
    facts.anyUnfit = facts.anyUnfit || unfit[s] != 0 || infinite[s] != 0;
    facts.anyFar = facts.anyFar || far[s] != 0;
    facts.mayRaise = facts.mayRaise || raises[s] != 0;
  }
  return facts;
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
