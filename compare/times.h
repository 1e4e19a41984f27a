// The times of one side, window by window.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "compare/buffer.h"
#include "compare/kernels.h"
#include "compare/numbers.h"

namespace kvr::compare {

// Longest window: a block, the sample before it, two after it, and those that kernels may read.
inline constexpr std::size_t kWindow = kBlock + 3 + kLookAhead;

// Raises Stopped if the caller asks for it.
void pollStop(const Options& options);

struct TimeWindow {
  const double* times;  // valid until the next window of the same side
  bool isStrict;        // no time stands twice in it
};

// Times are checked as they are first looked at in windows, so that the comparison reads them once.
// Single times may be read unchecked. Whoever uses unchecked times must stay within bounds whatever
// they are; `checkAll` finds out at the end, and what was computed from bad times is dropped.
class Times {
 public:
  // Throws Incomparable kBadTime unless the first and the last time are finite.
  Times(const Series& series, const Options& options);

  std::size_t count() const { return count_; }
  double first() const { return at(0); }
  double last() const { return at(count_ - 1); }

  double at(std::size_t i) const { return data_ != nullptr ? data_[i] : numberAt(numbers_, i); }

  // `length` times from sample `from` on, infinity past the end. All times up to the end of the
  // window are checked: throws Incomparable kBadTime at NaN, infinity or a falling time.
  TimeWindow window(std::size_t from, std::size_t length);

  // Whether the next `count` times, from sample `from` on, are those of the other side from
  // `fromThere` on, byte for byte, and none of them stands twice on either side. If so they are
  // checked on both, and lie at `data()`.
  bool sharesRun(std::size_t from, std::size_t count, Times& there, std::size_t fromThere);
  const double* data() const { return data_; }

  void checkUpTo(std::size_t end);
  void checkAll() { checkUpTo(count_); }

  // How many samples stand before the first with a time of at least (more than) `t`.
  std::size_t countBefore(double t) const;
  std::size_t countUpTo(double t) const;

  // All times as doubles, in place if they are; `copy` holds them otherwise.
  std::span<const double> whole(std::vector<double>& copy) const;

 private:
  bool standsAlone(std::size_t from, std::size_t count) const;

  Numbers numbers_;
  const double* data_;  // null unless the times lie as in a C array of double
  std::size_t count_;
  std::size_t checked_ = 1;    // so many times are known to be in order
  std::size_t risesFrom_ = 0;  // of those, the ones from here on are known to be distinct
  Buffer<double> buffer_;
  const Options& options_;
};

}  // namespace kvr::compare
