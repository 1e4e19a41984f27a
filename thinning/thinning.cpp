#include "thinning/thinning.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>

#include "thinning/columns.h"

namespace kvr::thinning {
namespace {

// Where time `sample` falls or is NaN, as an error; sample 0 has no time before it.
[[noreturn]] void refuseTime(std::span<const double> times, std::size_t sample) {
  const std::string where = "the time of sample " + std::to_string(sample);
  if (std::isnan(times[sample])) throw std::invalid_argument(where + " is NaN");
  throw std::invalid_argument(where + " is before that of the sample before");
}

void requireRisingTimes(std::span<const double> times) {
  if (times.empty()) return;
  bool rises = !std::isnan(times[0]);
  for (std::size_t i = 1; i < times.size(); ++i) rises &= times[i - 1] <= times[i];
  if (rises) return;
  std::size_t i = 0;
  if (!std::isnan(times[0]))
    for (i = 1; times[i - 1] <= times[i];) ++i;
  refuseTime(times, i);
}

std::span<const double> checkedTimes(std::span<const double> times,
                                     std::span<const double> values) {
  if (times.size() != values.size())
    throw std::invalid_argument(std::to_string(values.size()) + " values for " +
                                std::to_string(times.size()) + " times");
  requireRisingTimes(times);
  return times;
}

// Where a window and its columns are in the times.
class Window {
 public:
  Window(std::span<const double> times, double first, double last, std::size_t columns)
      : times_(times), columns_(static_cast<double>(columns)) {
    if (columns == 0) throw std::invalid_argument("a window has at least one column");
    if (!(first <= last)) throw std::invalid_argument("a window ends at or after its first time");
    first_ = finite(first);
    last_ = finite(last);
    begin_ = placeOf(std::lower_bound(times.begin(), times.end(), first_));
    end_ = std::max(begin_, placeOf(std::upper_bound(times.begin(), times.end(), last_)));
  }

  std::size_t begin() const { return begin_; }
  std::size_t end() const { return end_; }
  std::size_t samples() const { return end_ - begin_; }

  // Where the samples of a column end that begin at `from`. The guess is how many there may be.
  std::size_t endOfColumn(std::size_t column, std::size_t from, std::size_t guess) const {
    const double next = static_cast<double>(column) + 1.0;
    if (next >= columns_) return end_;
    return firstNotBefore(std::lerp(first_, last_, next / columns_), from, guess);
  }

 private:
  using Place = std::span<const double>::iterator;

  std::size_t placeOf(Place place) const {
    return static_cast<std::size_t>(place - times_.begin());
  }

  // The end itself, or the finite time that an infinite one stands for.
  double finite(double end) const {
    constexpr double kGreatest = std::numeric_limits<double>::max();
    if (std::isfinite(end)) return end;
    const auto first = std::lower_bound(times_.begin(), times_.end(), -kGreatest);
    const auto after = std::upper_bound(first, times_.end(), kGreatest);
    if (first == after) return 0.0;  // there are no finite times
    return end < 0 ? *first : *(after - 1);
  }

  // The first sample of the window at or after `edge`, which is none before `from`. Samples near
  // the guess are found in a few steps.
  std::size_t firstNotBefore(double edge, std::size_t from, std::size_t guess) const {
    std::size_t low = from;
    std::size_t high = end_;
    if (guess < high - low) {
      std::size_t step = 1;
      if (times_[low + guess] < edge) {
        for (low += guess + 1; step < high - low && times_[low + step] < edge; step *= 2)
          low += step + 1;
        high = std::min(high, low + step);
      } else {
        for (high = low + guess; step < high - low && !(times_[high - step] < edge); step *= 2)
          high -= step;
        low = std::max(low, high - std::min(high, step));
      }
    }
    const auto at = [&](std::size_t sample) {
      return times_.begin() + static_cast<std::ptrdiff_t>(sample);
    };
    return placeOf(std::lower_bound(at(low), at(high), edge));
  }

  std::span<const double> times_;
  double columns_;
  double first_ = 0.0, last_ = 0.0;
  std::size_t begin_ = 0, end_ = 0;
};

void requireSamples(std::span<const std::size_t> samples, std::size_t count) {
  for (const std::size_t sample : samples)
    if (sample >= count) throw std::out_of_range("there is no sample " + std::to_string(sample));
}

// Both, rising, without those of `more` that are outside of what is kept.
std::vector<std::size_t> merged(std::vector<std::size_t> kept, std::span<const std::size_t> more) {
  std::vector<std::size_t> between;
  std::copy_if(more.begin(), more.end(), std::back_inserter(between), [&](std::size_t sample) {
    return !kept.empty() && sample >= kept.front() && sample <= kept.back();
  });
  if (between.empty()) return kept;
  std::sort(between.begin(), between.end());
  between.erase(std::unique(between.begin(), between.end()), between.end());
  std::vector<std::size_t> both;
  both.reserve(kept.size() + between.size());
  std::set_union(kept.begin(), kept.end(), between.begin(), between.end(),
                 std::back_inserter(both));
  return both;
}

}  // namespace

Thinned::Thinned(std::span<const double> times, std::span<const double> values)
    : times_(checkedTimes(times, values)), values_(values), tree_(times, values) {}

std::vector<std::size_t> Thinned::window(double first, double last, std::size_t columns,
                                         std::span<const std::size_t> keep) const {
  const Window window(times_, first, last, columns);
  requireSamples(keep, samples());
  KeptSamples kept(times_, values_, tree_);
  if (window.begin() > 0) kept.add(window.begin() - 1);
  if ((window.samples() + 3) / 4 <= columns) {
    kept.addAll(window.begin(), window.end());
  } else {
    std::size_t guess = window.samples() / columns;
    std::size_t begin = window.begin();
    for (std::size_t column = 0; begin < window.end(); ++column) {
      const std::size_t end = window.endOfColumn(column, begin, guess);
      if (begin < end) kept.addColumn(begin, end);
      guess = end - begin;
      begin = end;
    }
  }
  if (window.end() < samples()) kept.add(window.end());
  return merged(kept.take(), keep);
}

std::optional<Extremes> Thinned::extremes(std::size_t first, std::size_t last) const {
  if (last >= samples()) throw std::out_of_range("there is no sample " + std::to_string(last));
  if (first > last)
    throw std::out_of_range("sample " + std::to_string(first) + " is after sample " +
                            std::to_string(last));
  return tree_.extremes(first, last + 1);
}

}  // namespace kvr::thinning
