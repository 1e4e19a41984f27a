#include "thinning/extremes_tree.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace kvr::thinning {
namespace {

constexpr std::size_t kLeaf = 64;
constexpr std::size_t kFan = 8;
constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

std::uint8_t bitOf(Kind kind) { return static_cast<std::uint8_t>(kind); }

bool startsNode(std::size_t sample, std::size_t span) { return (sample & (span - 1)) == 0; }

// Two doubles in one register, and masks of all bits or none.
constexpr std::size_t kWidth = 2;
using Vector = double __attribute__((vector_size(kWidth * sizeof(double))));
using Mask = std::int64_t __attribute__((vector_size(kWidth * sizeof(double))));

void load(Vector& to, const double* from) { std::memcpy(&to, from, sizeof to); }

// What one pass over a leaf finds.
struct LeafFacts {
  double least = std::numeric_limits<double>::infinity();
  double most = -std::numeric_limits<double>::infinity();
  std::size_t gaps = 0;
  std::size_t sameTimes = 0;

  void take(double value, bool isSameTime) {
    least = value < least ? value : least;
    most = value > most ? value : most;
    gaps += value != value ? 1 : 0;
    sameTimes += isSameTime ? 1 : 0;
  }
};

// The times go on to that after the leaf, unless the series ends with it.
LeafFacts factsOf(std::span<const double> times, std::span<const double> values) {
  LeafFacts facts;
  Vector least = Vector{} + facts.least;
  Vector most = Vector{} + facts.most;
  Mask gaps{};
  Mask sameTimes{};
  std::size_t i = 0;
  for (; i + kWidth < times.size(); i += kWidth) {
    Vector value, time, next;
    load(value, &values[i]);
    load(time, &times[i]);
    load(next, &times[i + 1]);
    least = value < least ? value : least;
    most = value > most ? value : most;
    gaps -= value != value;
    sameTimes -= time == next;
  }
  for (std::size_t lane = 0; lane < kWidth; ++lane) {
    facts.least = std::min(facts.least, least[lane]);
    facts.most = std::max(facts.most, most[lane]);
    facts.gaps += static_cast<std::size_t>(gaps[lane]);
    facts.sameTimes += static_cast<std::size_t>(sameTimes[lane]);
  }
  for (; i < values.size(); ++i)
    facts.take(values[i], i + 1 < times.size() && times[i] == times[i + 1]);
  return facts;
}

// Where the extremes of a leaf are; nowhere if it has no number.
Extremes extremesOf(const LeafFacts& facts, std::span<const double> values, std::size_t begin) {
  const auto placeOf = [&](double wanted) {
    const auto found = std::find(values.begin(), values.end(), wanted);
    if (found == values.end()) return kNowhere;
    return begin + static_cast<std::size_t>(found - values.begin());
  };
  return {placeOf(facts.least), placeOf(facts.most)};
}

std::uint8_t kindsOf(const LeafFacts& facts, std::size_t samples) {
  const int number = facts.gaps < samples ? bitOf(Kind::kNumber) : 0;
  const int gap = facts.gaps > 0 ? bitOf(Kind::kGap) : 0;
  const int sameTime = facts.sameTimes > 0 ? bitOf(Kind::kSameTime) : 0;
  return static_cast<std::uint8_t>(number | gap | sameTime);
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
    const auto times = times_.subspan(begin, std::min(kLeaf + 1, times_.size() - begin));
    const LeafFacts facts = factsOf(times, values);
    leaves.extremes.push_back(extremesOf(facts, values, begin));
    leaves.kinds.push_back(kindsOf(facts, values.size()));
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
