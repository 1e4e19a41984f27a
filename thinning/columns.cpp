#include "thinning/columns.h"

#include <algorithm>
#include <cmath>

namespace kvr::thinning {

void KeptSamples::add(std::size_t sample) {
  if (kept_.empty() || sample > kept_.back()) kept_.push_back(sample);
}

void KeptSamples::addAll(std::size_t begin, std::size_t end) {
  for (; begin < end; ++begin) add(begin);
}

void KeptSamples::addColumn(std::size_t begin, std::size_t end) {
  for (std::size_t pieces = 0;
       begin < end && (pieces < kPiecesOfColumn || std::isnan(values_[begin])); ++pieces) {
    begin = addPiece(begin, end);
  }
  if (begin < end) addNumbers(begin, end);
}

std::size_t KeptSamples::addPiece(std::size_t begin, std::size_t end) {
  if (std::isnan(values_[begin])) {
    // The gap may have begun in an earlier column, or before the window.
    if (begin == 0 || !std::isnan(values_[begin - 1])) add(begin);
    return tree_.next(Kind::kNumber, begin, end);
  }
  const std::size_t stop = endOfRun(begin, end);
  addNumbers(begin, stop);
  return stop;
}

// Of the run or the event that begins with the number at `begin`.
std::size_t KeptSamples::endOfRun(std::size_t begin, std::size_t end) const {
  const std::size_t gap = tree_.next(Kind::kGap, begin, end);
  const std::size_t event = tree_.next(Kind::kSameTime, begin, gap);
  if (gap - event < 2) return gap;  // the sample of the same time is none of these numbers
  if (event > begin) return event;
  const auto from = times_.begin() + static_cast<std::ptrdiff_t>(begin);
  const auto after =
      std::upper_bound(from + 1, times_.begin() + static_cast<std::ptrdiff_t>(gap), times_[begin]);
  return static_cast<std::size_t>(after - times_.begin());
}

// Of samples that begin with a number: the first, the extremes, the last, and a gap after it.
void KeptSamples::addNumbers(std::size_t begin, std::size_t end) {
  add(begin);
  if (const auto found = tree_.extremes(begin, end)) {
    add(std::min(found->minimum, found->maximum));
    add(std::max(found->minimum, found->maximum));
  }
  const std::size_t last = std::min(tree_.last(Kind::kNumber, begin, end), end - 1);
  add(last);
  if (last + 1 < end) add(last + 1);
}

}  // namespace kvr::thinning
