// What the differences of judged values come to: the greatest, absolute and relative, and the root
// of their mean square. Bits do not depend on how the values are split into calls.
#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <vector>

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

  void writeTo(Verdict& verdict) const;

 private:
  static constexpr std::size_t kSums = 8;
  using Sums = std::array<double, kSums>;

  struct Facts {
    double most;       // greatest finite difference
    std::size_t finite;
    bool anyUnfit;     // not finite, or not within tolerance
    bool anyFar;       // the square of a difference would overflow or vanish
    bool mayRaise;     // the greatest relative difference may be among them
  };

  Facts measure(const Measured& values, Sums& sums) const;
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
