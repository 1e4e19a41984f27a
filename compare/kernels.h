// The loops that look at every number, in vector code. The vector is eight doubles wide everywhere,
// whatever the machine makes of it, and nothing is added across it, so that all machines compute the
// same bits.
#pragma once

#include <array>
#include <cstddef>

namespace kvr::compare {

inline constexpr std::size_t kLanes = 8;

enum class Order { kFalls, kTies, kRises };

// Whether all of the times are greater than the one before, or some equal, or some not even that.
Order orderOf(const double* times, std::size_t count);

// What is known of a run of differences after one look.
struct Facts {
  double most = 0.0;       // the greatest finite one
  std::size_t finite = 0;  // how many are finite
  bool anyUnfit = false;   // some are not finite, or not within their tolerance
  bool anyFar = false;     // the square of some would overflow or vanish
  bool mayRaise = false;   // the quotient of some and its size may be above `quotient`
};

// Differences from kSmall to kLarge, up to 2^60 of them, can be squared and added up without
// overflow and without loss to underflow.
inline constexpr double kSmall = 0x1p-480;
inline constexpr double kLarge = 0x1p480;

// Looks at `count` differences; adds the square of the finite ones, number i to sum i % 8. `quotient`
// is negative if there was none so far.
Facts measureDifferences(const double* difference, const double* size, const double* tolerance,
                         std::size_t count, double quotient, std::array<double, kLanes>& sums);

// The same for |a - b| with the size |a| and the tolerance max(absolute, relative * |a|), but that
// equal infinities have no difference.
Facts measurePair(const double* a, const double* b, std::size_t count, double absolute,
                  double relative, double quotient, std::array<double, kLanes>& sums);

// weight[i] = (t[i] - before[i]) / (after[i] - before[i])
void findWeights(const double* t, const double* before, const double* after, std::size_t count,
                 double* weight);

}  // namespace kvr::compare
