#include "thinning/extremes_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kvr::thinning {
namespace {

constexpr std::size_t kLeaf = 64;
constexpr std::size_t kFan = 8;
constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

std::uint8_t bitOf(Kind kind) { return static_cast<std::uint8_t>(kind); }

bool startsNode(std::size_t sample, std::size_t span) { return (sample & (span - 1)) == 0; }

// Where the extremes of one leaf are. The first pass compares values only, so that the compiler can
// use vector instructions; the second finds the places.
Extremes extremesOf(std::span<const double> values, std::size_t begin) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  double least = kInfinity;
  double most = -kInfinity;
  for (const double value : values) {
    least = value < least ? value : least;
    most = value > most ? value : most;
  }
  const auto placeOf = [&](double wanted) {
    const auto found = std::find(values.begin(), values.end(), wanted);
    if (found == values.end()) return kNowhere;
    return begin + static_cast<std::size_t>(found - values.begin());
  };
  // A leaf whose numbers are all infinite and alike has one of these where it started from.
  const std::size_t minimum = placeOf(least);
  const std::size_t maximum = placeOf(most);
  return {minimum, maximum};
}

std::uint8_t kindsOf(std::span<const double> times, std::span<const double> values) {
  bool hasNumber = false;
  bool hasGap = false;
  for (const double value : values) {
    hasNumber |= value == value;
    hasGap |= value != value;
  }
  bool hasSameTime = false;
  for (std::size_t i = 1; i < times.size(); ++i) hasSameTime |= times[i - 1] == times[i];
  return static_cast<std::uint8_t>((hasNumber ? bitOf(Kind::kNumber) : 0) |
                                   (hasGap ? bitOf(Kind::kGap) : 0) |
                                   (hasSameTime ? bitOf(Kind::kSameTime) : 0));
}

}  // namespace

// The extremes of the samples and nodes seen so far, which come in rising order.
class ExtremesTree::Running {
 public:
  explicit Running(std::span<const double> values) : values_(values) {}

  void addSample(std::size_t sample) {
    if (!std::isnan(values_[sample])) add({sample, sample});
  }

  void add(const Extremes& node) {
    if (node.minimum == kNowhere) return;
    if (found_.minimum == kNowhere) {
      found_ = node;
      return;
    }
    if (values_[node.minimum] < values_[found_.minimum]) found_.minimum = node.minimum;
    if (values_[node.maximum] > values_[found_.maximum]) found_.maximum = node.maximum;
  }

  const Extremes& found() const { return found_; }

 private:
  std::span<const double> values_;
  Extremes found_{kNowhere, kNowhere};
};

ExtremesTree::ExtremesTree(std::span<const double> times, std::span<const double> values)
    : times_(times), values_(values) {
  addLeaves();
  while (levels_.back().kinds.size() > 1) addLevel();
}

void ExtremesTree::addLeaves() {
  Level leaves{kLeaf, {}, {}};
  const std::size_t count = (values_.size() + kLeaf - 1) / kLeaf;
  leaves.extremes.reserve(count);
  leaves.kinds.reserve(count);
  for (std::size_t begin = 0; begin < values_.size(); begin += kLeaf) {
    const auto values = values_.subspan(begin, std::min(kLeaf, values_.size() - begin));
    // With the time after the leaf, for its last sample.
    const auto times = times_.subspan(begin, std::min(kLeaf + 1, times_.size() - begin));
    leaves.extremes.push_back(extremesOf(values, begin));
    leaves.kinds.push_back(kindsOf(times, values));
  }
  levels_.push_back(std::move(leaves));
}

void ExtremesTree::addLevel() {
  const Level& below = levels_.back();
  Level level{below.span * kFan, {}, {}};
  for (std::size_t begin = 0; begin < below.kinds.size(); begin += kFan) {
    const std::size_t end = std::min(begin + kFan, below.kinds.size());
    Running running(values_);
    std::uint8_t kinds = 0;
    for (std::size_t child = begin; child < end; ++child) {
      running.add(below.extremes[child]);
      kinds |= below.kinds[child];
    }
    level.extremes.push_back(running.found());
    level.kinds.push_back(kinds);
  }
  levels_.push_back(std::move(level));
}

bool ExtremesTree::is(Kind kind, std::size_t sample) const {
  switch (kind) {
    case Kind::kNumber:
      return !std::isnan(values_[sample]);
    case Kind::kGap:
      return std::isnan(values_[sample]);
    case Kind::kSameTime:
      return sample + 1 < times_.size() && times_[sample] == times_[sample + 1];
  }
  return false;
}

std::optional<Extremes> ExtremesTree::extremes(std::size_t begin, std::size_t end) const {
  Running running(values_);
  while (begin < end) {
    const Level* largest = nullptr;  // that has a node from `begin` on and within the stretch
    for (const Level& level : levels_) {
      if (!startsNode(begin, level.span) || end - begin < level.span) break;
      largest = &level;
    }
    if (largest != nullptr) {
      running.add(largest->extremes[begin / largest->span]);
      begin += largest->span;
      continue;
    }
    const std::size_t stop = std::min(end, (begin / kLeaf + 1) * kLeaf);
    for (; begin < stop; ++begin) running.addSample(begin);
  }
  if (running.found().minimum == kNowhere) return std::nullopt;
  return running.found();
}

std::size_t ExtremesTree::next(Kind kind, std::size_t begin, std::size_t end) const {
  while (begin < end) {
    std::size_t without = 0;  // samples of the largest node from `begin` on without the kind
    for (const Level& level : levels_) {
      if (!startsNode(begin, level.span)) break;
      if ((level.kinds[begin / level.span] & bitOf(kind)) != 0) break;
      without = level.span;
    }
    if (without > 0) {
      begin += without;
      continue;
    }
    const std::size_t stop = std::min(end, (begin / kLeaf + 1) * kLeaf);
    for (; begin < stop; ++begin)
      if (is(kind, begin)) return begin;
  }
  return end;
}

std::size_t ExtremesTree::last(Kind kind, std::size_t begin, std::size_t end) const {
  std::size_t after = end;
  while (after > begin) {
    std::size_t without = 0;  // samples of the largest node up to `after` without the kind
    for (const Level& level : levels_) {
      if (!startsNode(after, level.span)) break;
      if ((level.kinds[after / level.span - 1] & bitOf(kind)) != 0) break;
      without = level.span;
    }
    if (without > 0) {
      if (after - begin <= without) return end;
      after -= without;
      continue;
    }
    const std::size_t stop = std::max(begin, (after - 1) / kLeaf * kLeaf);
    for (; after > stop; --after)
      if (is(kind, after - 1)) return after - 1;
  }
  return end;
}

}  // namespace kvr::thinning
