// Writes instants into a block one by one. The sources use it where no faster way is known.
#pragma once

#include <algorithm>
#include <cstddef>

#include "compare/instants.h"

namespace kvr::compare {

// Where a time lies among the samples of a side.
struct Location {
  bool isSample;  // else it lies between sample `first` and sample `last`, the next
  std::size_t first;
  std::size_t last;  // of a time that stands once, the same as `first`

  bool isEvent() const { return isSample && first != last; }
};

class BlockWriter {
 public:
  BlockWriter(InstantBlock& block, const TwoSides& sides);

  // Whether the instants of one more time fit in.
  bool hasRoom() const { return block_.count + 2 <= kBlock; }

  // One instant at the time `t`; two if values are interpolated and a side has an event there.
  void add(double t, const Location& baseline, const Location& other);

 private:
  enum class Edge {
    kLeft,
    kRight
  };
  void put(double t, const Location& baseline, const Location& other, Edge edge);
  void put(Places& places, const Times& times, double t, const Location& location, Edge edge);

  InstantBlock& block_;
  const TwoSides& sides_;
};

// Walks along the times of one side; every time it looks at is checked.
class Walker {
 public:
  Walker(Times& times, std::size_t start) : times_(times), next_(start) { checkAhead(); }

  // The first sample that was not passed.
  std::size_t next() const { return next_; }
  bool atEnd() const { return next_ >= times_.count(); }
  double time() const { return times_.at(next_); }

  // Where `t` lies; passes all samples up to it. `t` must be in the span of the side.
  Location passTo(double t) {
    while (!atEnd() && times_.at(next_) <= t) pass();
    const std::size_t last = next_ > 0 ? next_ - 1 : 0;
    if (times_.at(last) != t) return {false, last, std::min(next_, times_.count() - 1)};
    std::size_t first = last;
    while (first > 0 && times_.at(first - 1) == t) --first;
    return {true, first, last};
  }

 private:
  void pass() {
    if (++next_ >= checked_) checkAhead();
  }
  void checkAhead() {
    checked_ = std::min(next_ + kBlock, times_.count());
    times_.checkUpTo(checked_);
  }

  Times& times_;
  std::size_t next_;
  std::size_t checked_ = 0;
};

}  // namespace kvr::compare
