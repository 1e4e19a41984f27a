// The instants at which a pair is judged, in order and block by block, each with the samples that
// give the value of either side there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "compare/buffer.h"
#include "compare/common_span.h"
#include "compare/times.h"

namespace kvr::compare {

// The window of one side for a block.
struct Cursor {
  std::size_t base = 0;  // sample at which the window starts
  const double* window = nullptr;
  std::size_t length = 0;    // times in the window, infinity past the end of the side
  std::size_t position = 0;  // in the window: samples passed
  std::size_t samples = 0;   // of the whole side

  // The samples that were not passed.
  const double* ahead() const { return window + position; }
};

// Where one side has its values at the instants of a block, in one of three forms.
struct Places {
  enum class Form {
    kRun,     // sample firstOfRun + k at instant k
    kPassed,  // passed[k] samples of the window are at or before instant k
    kListed   // sample left[k] if it is right[k] too or values are held, else weight[k] of the way
              // from left[k] to right[k]
  };
  Form form = Form::kRun;
  bool isHeld = false;  // the value is that of the last sample; right and weight are not set

  std::size_t firstOfRun = 0;

  Cursor side;
  Buffer<std::uint32_t> passed{kBlock};  // at least 1, less than side.length - kLookAhead

  Buffer<std::size_t> left{kBlock}, right{kBlock};
  Buffer<double> weight{kBlock};

  // Takes the form kPassed for `count` instants whose `passed` are set; those that bad times have
  // led before the first sample are raised to 1.
  void lieIn(const Cursor& window, bool held, std::size_t count);

  // Turns the form kPassed into kListed for the `count` instants of a block.
  void list(const double* instants, std::size_t count);
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
