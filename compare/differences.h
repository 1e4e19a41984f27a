// Statistics of the differences of judged values: the greatest absolute and relative difference and
// the root mean square. Bits do not depend on how the values are split into calls.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <optional>

#include "compare/kernels.h"
#include "compare/values.h"

namespace kvr::compare {

inline constexpr double kGreatest = std::numeric_limits<double>::max();

// Consecutive values of a chunk. Differences that are not finite belong to values that were not
// judged or have none.
struct Measured {
  const Chunk& chunk;
  std::size_t first;  // value of the chunk
  std::size_t count;
  const double* difference;
  const double* size;       // moduli of the baseline values
  const double* tolerance;  // NaN where there is none

  double timeOf(std::size_t i) const { return chunk.times[chunk.instantOf(first + i)]; }
  std::size_t numberOf(std::size_t i) const { return chunk.firstValue() + first + i; }
};

class Differences {
 public:
  // Returns whether any difference is not finite or not within its tolerance.
  bool add(const Measured& values);

  // Adds the differences of `count` real values, the first of them number `number`, if all are
  // within max(absolute, relative * |a|) and none changes a maximum. Otherwise adds none, returns
  // false.
  bool addPlain(const double* a, const double* b, std::size_t count, std::size_t number,
                double absolute, double relative);

  void writeTo(Verdict& verdict) const;

 private:
  static constexpr std::size_t kSums = kLanes;
  using Sums = LaneSums;

  Sums turned(std::size_t number) const;
  void keepTurned(const Sums& sums, std::size_t number);
  void addFar(const Measured& values);
  void raise(const Measured& values, const Facts& facts);
  void raiseRelative(const Measured& values);

  // Squares of the differences: of ordinary ones as they are, of the others scaled.
  Sums ordinary_{}, small_{}, large_{};
  std::size_t finite_ = 0;
  double most_ = 0.0;
  std::optional<double> mostTime_;
  double mostRelative_ = 0.0;
  std::optional<double> mostRelativeTime_;
};

}  // namespace kvr::compare
