#include <limits>
#include <utility>

#include "compare/block_writer.h"
#include "compare/instants.h"

namespace kvr::compare {
namespace {

// Times start + k * interval.
class UniformTimes {
 public:
  UniformTimes(const CommonSpan& span, double interval) : start_(span.start), interval_(interval) {}

  double next() { return start_ + k_++ * interval_; }

 private:
  double start_;
  double interval_;
  double k_ = 0;  // exact up to 2^53
};

class GivenTimes {
 public:
  explicit GivenTimes(std::vector<double> times) : times_(std::move(times)) {}

  double next() {
    return next_ < times_.size() ? times_[next_++] : std::numeric_limits<double>::infinity();
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
        time_(generator_.next()),
        baseline_(sides.baseline, sides.span.baseline.begin),
        other_(sides.other, sides.span.other.begin) {
    skipWhile([this] { return time_ < sides_.span.start; });
  }

  bool next(InstantBlock& block) override {
    BlockWriter writer(block, sides_);
    pollStop(sides_.options);
    while (writer.hasRoom() && time_ <= sides_.span.end) {
      const double t = time_;
      const Location baseline = baseline_.passTo(t);
      writer.add(t, baseline, other_.passTo(t));
      skipWhile([this, t] { return time_ == t; });
    }
    return block.count > 0;
  }

 private:
  template <class Condition>
  void skipWhile(Condition condition) {
    for (std::size_t skipped = 1; condition(); ++skipped) {
      if (skipped % kBlock == 0) pollStop(sides_.options);
      time_ = generator_.next();
    }
  }

  TwoSides sides_;
  Generator generator_;
  double time_;  // the next instant
  Walker baseline_;
  Walker other_;
};

}  // namespace

std::unique_ptr<InstantSource> uniformGrid(const TwoSides& sides, double interval) {
  return std::make_unique<Grid<UniformTimes>>(sides, UniformTimes(sides.span, interval));
}

std::unique_ptr<InstantSource> givenInstants(const TwoSides& sides, std::vector<double> times) {
  return std::make_unique<Grid<GivenTimes>>(sides, GivenTimes(std::move(times)));
}

}  // namespace kvr::compare
