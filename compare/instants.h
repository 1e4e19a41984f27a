// The instants at which a pair is judged, in order and block by block, each with the samples that
// give the value of either side there.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "compare/buffer.h"
#include "compare/common_span.h"
#include "compare/times.h"

namespace kvr::compare {

// Where one side has its values at the instants of a block. The value at instant k is that of
// sample left[k] if it is right[k] too, else it lies between the two, `weight[k]` of the way to the
// right.
struct Places {
  bool isRun = false;  // sample firstOfRun + k at instant k; nothing below is set
  std::size_t firstOfRun = 0;
  bool isHeld = false;  // sample left[k] at instant k; right and weight are not set
  Buffer<std::size_t> left{kBlock}, right{kBlock};
  Buffer<double> weight{kBlock};
};

struct InstantBlock {
  std::size_t count = 0;
  const double* times = nullptr;  // into the block, or the times of a side
  Places baseline, other;
  Buffer<double> ownTimes{kBlock + 1};
};

class InstantSource {
 public:
  InstantSource() = default;
  InstantSource(const InstantSource&) = delete;
  InstantSource& operator=(const InstantSource&) = delete;
  virtual ~InstantSource() = default;

  // Fills the block with the next instants, at least one and at most kBlock; false if there are
  // none left. Throws Incomparable kBadTime as `Times` does; what came before is then void.
  virtual bool next(InstantBlock& block) = 0;
};

// Both sides of a pair, as the sources of instants see them.
struct TwoSides {
  Times& baseline;
  Times& other;
  const CommonSpan& span;
  const Options& options;
  bool isLinear;
};

// Every distinct time of either side within the common span.
std::unique_ptr<InstantSource> unionOf(const TwoSides& sides);

// The times that stand in both sides, or no further apart than the time tolerance.
std::unique_ptr<InstantSource> intersectionOf(const TwoSides& sides);

// start + k * interval, to the end of the common span.
std::unique_ptr<InstantSource> uniformGrid(const TwoSides& sides, double interval);

// The given times, which never fall: those within the common span, each once.
std::unique_ptr<InstantSource> givenInstants(const TwoSides& sides, std::vector<double> times);

}  // namespace kvr::compare
