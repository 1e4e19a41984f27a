// Instants at given times: of a grid, or of a function. They are generated a block at a time and
// found among the samples of either side; only where a time stands twice in a side and values are
// interpolated are they walked one by one.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

#include "compare/block_writer.h"
#include "compare/instants.h"
#include "compare/kernels.h"
#include "compare/merging.h"

namespace kvr::compare {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Times start + k * interval, without end.
class UniformTimes {
 public:
  UniformTimes(const CommonSpan& span, double interval) : start_(span.start), interval_(interval) {}

  void fill(double* times, std::size_t count) {
    // Copies, so that writing times cannot change them: the loop becomes vector code.
    const double start = start_;
    const double interval = interval_;
    const double k = k_;
    const auto end = static_cast<std::int32_t>(count);
    for (std::int32_t i = 0; i < end; ++i) times[i] = start + (k + i) * interval;
    k_ += static_cast<double>(count);
  }

 private:
  double start_;
  double interval_;
  double k_ = 0;  // exact up to 2^53
};

// The given times, then infinity.
class GivenTimes {
 public:
  explicit GivenTimes(std::vector<double> times) : times_(std::move(times)) {}

  void fill(double* times, std::size_t count) {
    const std::size_t there = std::min(count, times_.size() - next_);
    std::copy_n(times_.data() + next_, there, times);
    std::fill(times + there, times + count, kInfinity);
    next_ += there;
  }

 private:
  std::vector<double> times_;
  std::size_t next_ = 0;
};

// Instants at the times of a generator, which never fall and end beyond the common span.
template <class Generator>
class Grid : public InstantSource {
 public:
  Grid(const TwoSides& sides, Generator generator)
      : sides_(sides),
        generator_(std::move(generator)),
        ahead_(kBlock + 1),
        i_(sides.span.baseline.begin),
        j_(sides.span.other.begin) {}

  bool next(InstantBlock& block) override {
    while (generate()) {
      pollStop(sides_.options);
      bool isStrict = true;
      const Cursor f = cursorAt(sides_.baseline, i_, kBlock, isStrict);
      const Cursor g = cursorAt(sides_.other, j_, kBlock, isStrict);
      if (sides_.isLinear && !isStrict) {
        walk(block);
        return true;
      }
      if (merge(block, f, g)) return true;
    }
    return false;
  }

 private:
  bool generate();
  void dropRepeated();
  bool merge(InstantBlock& block, const Cursor& f, const Cursor& g);
  void walk(InstantBlock& block);

  TwoSides sides_;
  Generator generator_;
  Buffer<double> ahead_;      // distinct times within the span, and one beyond them
  std::size_t first_ = 0;     // of those the next instant
  std::size_t end_ = 0;       // behind the last
  double last_ = -kInfinity;  // the last time that was generated
  bool isComplete_ = false;
  std::size_t i_;  // baseline samples passed
  std::size_t j_;  // other samples passed
};

// Generates times ahead if all were used; false if there are none left.
template <class Generator>
bool Grid<Generator>::generate() {
  while (first_ == end_) {
    if (isComplete_) return false;
    pollStop(sides_.options);
    generator_.fill(ahead_.data(), kBlock);
    const double* const times = ahead_.data();
    const double* const stop = times + kBlock;
    const double* const inside = std::lower_bound(times, stop, sides_.span.start);
    first_ = static_cast<std::size_t>(inside - times);
    end_ = static_cast<std::size_t>(std::upper_bound(inside, stop, sides_.span.end) - times);
    isComplete_ = end_ < kBlock;
    dropRepeated();
    ahead_[end_] = kInfinity;
  }
  return true;
}

template <class Generator>
void Grid<Generator>::dropRepeated() {
  if (first_ == end_) return;
  double* const times = ahead_.data();
  const double before = std::exchange(last_, times[end_ - 1]);
  const std::size_t count = end_ - first_;
  if (times[first_] > before && kernels().orderOf(times + first_, count) == Order::kRises) return;
  while (first_ < end_ && times[first_] == before) ++first_;
  double* const stop = std::unique(times + first_, times + end_);
  end_ = static_cast<std::size_t>(stop - times);
}

// Takes the times for which both windows reach far enough, at least one; else passes samples.
template <class Generator>
bool Grid<Generator>::merge(InstantBlock& block, const Cursor& f, const Cursor& g) {
  const double reachF = f.ahead()[kBlock];
  const double reachG = g.ahead()[kBlock];
  const double* const times = ahead_.data() + first_;
  const double* const stop = ahead_.data() + end_;
  const double* const end = std::lower_bound(times, stop, std::min(reachF, reachG));
  block.count = static_cast<std::size_t>(end - times);
  if (block.count == 0) {
    if (reachF <= *times) i_ += kBlock;
    if (reachG <= *times) j_ += kBlock;
    return false;
  }
  block.times = times;
  i_ += passSamples(f, times, block.count, block.baseline.passed.data());
  j_ += passSamples(g, times, block.count, block.other.passed.data());
  block.baseline.lieIn(f, !sides_.isLinear, block.count);
  block.other.lieIn(g, !sides_.isLinear, block.count);
  first_ += block.count;
  return true;
}

template <class Generator>
void Grid<Generator>::walk(InstantBlock& block) {
  BlockWriter writer(block, sides_);
  Walker f(sides_.baseline, i_);
  Walker g(sides_.other, j_);
  for (; writer.hasRoom() && first_ < end_; ++first_) {
    const Location baseline = f.passTo(ahead_[first_]);
    writer.add(ahead_[first_], baseline, g.passTo(ahead_[first_]));
  }
  i_ = f.next();
  j_ = g.next();
}

}  // namespace

std::unique_ptr<InstantSource> uniformGrid(const TwoSides& sides, double interval) {
  return std::make_unique<Grid<UniformTimes>>(sides, UniformTimes(sides.span, interval));
}

std::unique_ptr<InstantSource> givenInstants(const TwoSides& sides, std::vector<double> times) {
  return std::make_unique<Grid<GivenTimes>>(sides, GivenTimes(std::move(times)));
}

}  // namespace kvr::compare
