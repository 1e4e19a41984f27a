// The samples that one window of a series keeps, column by column.
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "thinning/extremes_tree.h"

namespace kvr::thinning {

// Of a column at most so many pieces are kept apart, and all samples after them are kept as one.
inline constexpr std::size_t kPiecesOfColumn = 8;

// Collects indices in rising order; thinning.h tells which.
class KeptSamples {
 public:
  KeptSamples(std::span<const double> times, std::span<const double> values,
              const ExtremesTree& tree)
      : times_(times), values_(values), tree_(tree) {}

  // A sample that is not before those kept so far.
  void add(std::size_t sample);

  // Every sample from `begin` up to `end`.
  void addAll(std::size_t begin, std::size_t end);

  // What draws the samples from `begin` up to `end`, all of one column.
  void addColumn(std::size_t begin, std::size_t end);

  // Ends the collection.
  std::vector<std::size_t> take() { return std::move(kept_); }

 private:
  // Each returns where the next piece begins.
  std::size_t addPiece(std::size_t begin, std::size_t end);
  std::size_t endOfRun(std::size_t begin, std::size_t end) const;

  void addNumbers(std::size_t begin, std::size_t end);

  std::span<const double> times_;
  std::span<const double> values_;
  const ExtremesTree& tree_;
  std::vector<std::size_t> kept_;
};

}  // namespace kvr::thinning
