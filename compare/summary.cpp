#include "compare/summary.h"

#include <cmath>

namespace kvr::compare {
namespace {

constexpr std::size_t kIntervalsKept = 100;

// Where -0 and 0 meet, the time is 0, whichever side it was taken from.
void dropSignsOfZero(Verdict& verdict) {
  for (auto* time : {&verdict.firstOut, &verdict.lastOut, &verdict.maxDifferenceTime,
                     &verdict.maxRelativeTime}) {
    if (*time) **time += 0.0;
  }
  for (auto* value : {&verdict.first, &verdict.worst}) {
    if (*value) (*value)->time += 0.0;
  }
  for (Interval& interval : verdict.intervals) {
    interval.first += 0.0;
    interval.last += 0.0;
  }
}

}  // namespace

void Summary::addOut(std::size_t instant, const ValueOut& value, bool isLost) {
  ++verdict_.out;
  if (isLost) ++verdict_.lost;
  if (!verdict_.first) verdict_.first = value;
  verdict_.lastOut = value.time;
  extendInterval(instant, value.time);

  const bool isUnbounded = isLost || !std::isfinite(value.difference);
  if (verdict_.worst) {
    const ValueOut& worst = *verdict_.worst;
    if (worstIsUnbounded_) return;
    const bool isFurther = value.difference - value.tolerance > worst.difference - worst.tolerance;
    if (!isUnbounded && !isFurther) return;
  }
  verdict_.worst = value;
  worstIsUnbounded_ = isUnbounded;
}

void Summary::extendInterval(std::size_t instant, double time) {
  const std::size_t number = instant + 1;
  if (number == lastOutInstant_) return;
  ++verdict_.instantsOut;
  if (lastOutInstant_ == 0 || number != lastOutInstant_ + 1) {
    if (interval_.count > 0 && verdict_.intervals.size() < kIntervalsKept) {
      verdict_.intervals.push_back(interval_);
    }
    ++verdict_.intervalsTotal;
    interval_ = {time, time, 0};
  }
  interval_.last = time;
  ++interval_.count;
  lastOutInstant_ = number;
}

Verdict Summary::verdict() const {
  Verdict verdict = verdict_;
  if (verdict.first) verdict.firstOut = verdict.first->time;
  if (interval_.count > 0 && verdict.intervals.size() < kIntervalsKept) {
    verdict.intervals.push_back(interval_);
  }
  differences_.writeTo(verdict);
  dropSignsOfZero(verdict);
  return verdict;
}

}  // namespace kvr::compare
