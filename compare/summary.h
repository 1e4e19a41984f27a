// Adds up what is found of a pair.
#pragma once

#include <cstddef>

#include "compare/differences.h"

namespace kvr::compare {

class Summary {
 public:
  void addInstants(std::size_t count) { verdict_.instants += count; }
  void addOutside(std::size_t values) { verdict_.outside += values; }
  void addJudged(std::size_t values) { verdict_.judged += values; }
  void addGap() { ++verdict_.gaps; }
  void addGained() { ++verdict_.gained; }

  // A value that is out, of instant `instant`. To be called in the order of instants, then of
  // components. `isLost`: the other side has no number there.
  void addOut(std::size_t instant, const ValueOut& value, bool isLost);

  Differences& differences() { return differences_; }

  // Everything but status, reason and the samples outside the common span.
  Verdict verdict() const;

 private:
  void extendInterval(std::size_t instant, double time);

  Verdict verdict_;
  Differences differences_;
  bool worstIsUnbounded_ = false;   // lost, or without a finite difference
  std::size_t lastOutInstant_ = 0;  // counted from 1; 0 if there is none
  Interval interval_;               // the one that the last instant out belongs to
};

}  // namespace kvr::compare
