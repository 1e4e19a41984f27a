#include "tests/thinning/plain_window.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace kvr::thinning::test {
namespace {

constexpr std::size_t kMostPieces = 8;

enum class Piece {
  kGap,
  kEvent,
  kRun
};

Piece pieceAt(const Samples& samples, std::size_t begin, std::size_t end, std::size_t i) {
  const auto isPartner = [&](std::size_t j) {
    return samples.times[i] == samples.times[j] && !std::isnan(samples.values[j]);
  };
  if (std::isnan(samples.values[i])) return Piece::kGap;
  if (i > begin && isPartner(i - 1)) return Piece::kEvent;
  if (i + 1 < end && isPartner(i + 1)) return Piece::kEvent;
  return Piece::kRun;
}

// Where the pieces of a column begin.
std::vector<std::size_t> piecesOf(const Samples& samples, std::size_t begin, std::size_t end) {
  std::vector<std::size_t> starts;
  for (std::size_t i = begin; i < end; ++i) {
    const Piece piece = pieceAt(samples, begin, end, i);
    const bool goesOn = i > begin && piece == pieceAt(samples, begin, end, i - 1) &&
                        (piece != Piece::kEvent || samples.times[i] == samples.times[i - 1]);
    if (!goesOn) starts.push_back(i);
  }
  return starts;
}

void keepNumbers(const Samples& samples, std::size_t begin, std::size_t end,
                 std::set<std::size_t>& kept) {
  std::vector<std::size_t> numbers;
  for (std::size_t i = begin; i < end; ++i)
    if (!std::isnan(samples.values[i])) numbers.push_back(i);
  if (numbers.empty()) return;
  const auto extremes = plainExtremes(samples.values, begin, end);
  kept.insert({numbers.front(), numbers.back(), extremes->minimum, extremes->maximum});
  if (numbers.back() + 1 < end) kept.insert(numbers.back() + 1);
}

// Returns whether the column has more pieces than are kept apart.
bool keepColumn(const Samples& samples, std::size_t begin, std::size_t end,
                std::set<std::size_t>& kept) {
  std::vector<std::size_t> starts = piecesOf(samples, begin, end);
  const auto isGap = [&](std::size_t piece) { return std::isnan(samples.values[starts[piece]]); };
  std::size_t apart = std::min(starts.size(), kMostPieces);
  if (apart < starts.size() && isGap(apart)) ++apart;
  const std::size_t rest = apart < starts.size() ? starts[apart] : end;
  starts.push_back(end);
  for (std::size_t piece = 0; piece < apart; ++piece) {
    if (isGap(piece)) {
      const std::size_t first = starts[piece];
      if (first == 0 || !std::isnan(samples.values[first - 1])) kept.insert(first);
    } else {
      keepNumbers(samples, starts[piece], starts[piece + 1], kept);
    }
  }
  keepNumbers(samples, rest, end, kept);
  return rest < end;
}

}  // namespace

Viewed finiteWindow(const Samples& samples, const Viewed& window) {
  std::vector<double> finite;
  std::copy_if(samples.times.begin(), samples.times.end(), std::back_inserter(finite),
               [](double time) { return std::isfinite(time); });
  const auto end = [&](double given) {
    if (std::isfinite(given)) return given;
    if (finite.empty()) return 0.0;
    return given < 0 ? finite.front() : finite.back();
  };
  return {end(window.first), end(window.last), window.columns};
}

double edgeOf(const Viewed& window, std::size_t column) {
  const auto columns = static_cast<double>(window.columns);
  return std::lerp(window.first, window.last, static_cast<double>(column) / columns);
}

std::ptrdiff_t columnOf(const Viewed& window, double time) {
  if (time < window.first) return -1;
  if (time > window.last) return static_cast<std::ptrdiff_t>(window.columns);
  std::size_t low = 0;
  std::size_t high = window.columns;
  while (high - low > 1) {
    const std::size_t middle = (low + high) / 2;
    (edgeOf(window, middle) <= time ? low : high) = middle;
  }
  return static_cast<std::ptrdiff_t>(low);
}

PlainWindow plainWindow(const Samples& samples, const Viewed& given) {
  const Viewed window = finiteWindow(samples, given);
  const std::size_t count = samples.times.size();
  PlainWindow result;
  std::size_t begin = 0;
  while (begin < count && samples.times[begin] < window.first) ++begin;
  std::size_t end = begin;
  while (end < count && samples.times[end] <= window.last) ++end;
  std::set<std::size_t> kept;
  if (begin > 0) kept.insert(begin - 1);
  if (end < count) kept.insert(end);
  result.isThinned = end - begin > 4 * window.columns;
  std::map<std::ptrdiff_t, std::pair<std::size_t, std::size_t>> columns;
  for (std::size_t i = begin; i < end; ++i) {
    if (!result.isThinned) kept.insert(i);
    const auto place = columns.try_emplace(columnOf(window, samples.times[i]), i, i).first;
    place->second.second = i + 1;
  }
  for (const auto& [column, stretch] : columns) {
    if (result.isThinned && keepColumn(samples, stretch.first, stretch.second, kept))
      result.crowded.push_back(static_cast<std::size_t>(column));
  }
  result.kept.assign(kept.begin(), kept.end());
  return result;
}

std::optional<Extremes> plainExtremes(const std::vector<double>& values, std::size_t begin,
                                      std::size_t end) {
  std::optional<Extremes> found;
  for (std::size_t i = begin; i < end; ++i) {
    if (std::isnan(values[i])) continue;
    if (!found) found = Extremes{i, i};
    if (values[i] < values[found->minimum]) found->minimum = i;
    if (values[i] > values[found->maximum]) found->maximum = i;
  }
  return found;
}

}  // namespace kvr::thinning::test
