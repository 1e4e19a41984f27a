#include "compare/times.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "compare/reason.h"

namespace kvr::compare {
namespace {

[[noreturn]] void raiseBadTime() { throw Incomparable{Reason::kBadTime, {}}; }

}  // namespace

void pollStop(const Options& options) {
  if (options.stop && options.stop()) throw Stopped();
}

Times::Times(const Series& series, const Options& options)
    : numbers_(series.times),
      data_(inPlace(series.times, 1)),
      count_(series.timeCount),
      buffer_(kWindow),
      options_(options) {
  // Between finite ends, times that never fall are finite.
  if (count_ > 0 && !(std::isfinite(first()) && std::isfinite(last()))) raiseBadTime();
}

TimeWindow Times::window(std::size_t from, std::size_t length) {
  const std::size_t there = std::min(length, count_ - from);
  checkUpTo(from);
  const double* times = buffer_.data();
  if (data_ != nullptr && there == length) {
    times = data_ + from;
  } else {
    copyRun(numbers_, Part::kReal, from, there, {0, 1}, buffer_.data());
    std::fill(buffer_.data() + there, buffer_.data() + length,
              std::numeric_limits<double>::infinity());
  }
  const std::size_t end = from + there;
  if (end > checked_) {
    // The last time that is known already is the first to compare with.
    const std::size_t known = checked_ > from ? checked_ - 1 - from : 0;
    if (data_ != nullptr) prefetch(data_ + end, std::min(end - checked_, count_ - end));
    const Order order = kernels().orderOf(times + known, there - known);
    const bool joins = from < checked_ || at(from - 1) < times[0];
    const bool isTied = from >= checked_ && at(from - 1) == times[0];
    if (order == Order::kFalls || !(joins || isTied)) raiseBadTime();
    if (order == Order::kTies || isTied) risesFrom_ = end - 1;
    checked_ = end;
  }
  return {times, risesFrom_ <= from};
}

// Whether neither the time before the run nor the one after it is one of the run's.
bool Times::standsAlone(std::size_t from, std::size_t count) const {
  const std::size_t end = from + count;
  return (from == 0 || data_[from - 1] < data_[from]) &&
         (end == count_ || data_[end - 1] < data_[end]);
}

bool Times::sharesRun(std::size_t from, std::size_t count, Times& there, std::size_t fromThere) {
  if (data_ == nullptr || there.data_ == nullptr) return false;
  if (std::memcmp(data_ + from, there.data_ + fromThere, count * sizeof(double)) != 0) return false;
  if (!standsAlone(from, count) || !there.standsAlone(fromThere, count)) return false;
  if (kernels().orderOf(data_ + from, count) != Order::kRises) return false;
  checkUpTo(from);
  there.checkUpTo(fromThere);
  checked_ = std::max(checked_, from + count);
  there.checked_ = std::max(there.checked_, fromThere + count);
  return true;
}

void Times::checkUpTo(std::size_t end) {
  while (checked_ < end) {
    pollStop(options_);
    window(checked_ - 1, std::min(kBlock, count_ - (checked_ - 1)));
  }
}

std::size_t Times::countBefore(double t) const {
  std::size_t low = 0;
  for (std::size_t high = count_; low < high;) {
    const std::size_t middle = low + (high - low) / 2;
    if (at(middle) < t) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

std::size_t Times::countUpTo(double t) const {
  std::size_t low = 0;
  for (std::size_t high = count_; low < high;) {
    const std::size_t middle = low + (high - low) / 2;
    if (at(middle) <= t) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

std::span<const double> Times::whole(std::vector<double>& copy) const {
  if (data_ != nullptr) return {data_, count_};
  copy.resize(count_);
  copyRun(numbers_, Part::kReal, 0, count_, {0, 1}, copy.data());
  return copy;
}

}  // namespace kvr::compare
