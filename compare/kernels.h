// The loops that look at every number, in vector code: one copy for each width of registers, the
// widest that the machine has in use. Numbers go to eight lanes whatever the width, and nothing is
// added across them, so that all copies compute the same bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvr::compare {

inline constexpr std::size_t kLanes = 8;
using LaneSums = std::array<double, kLanes>;

enum class Order {
  kFalls,
  kTies,
  kRises
};

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

// Differences of values, to be looked at by either of two kernels.
struct DifferenceArrays {
  const double* difference;
  const double* size;
  const double* tolerance;
};
// |a - b| with the size |a| and the tolerance max(absolute, relative * |a|); unlike elsewhere the
// difference of equal infinities is NaN.
struct ValueArrays {
  const double* a;
  const double* b;
  double absolute;
  double relative;
};

// Samples of one side, the times and the values.
struct SideWindow {
  const double* times;
  const double* values;
};

// So many samples past those that are used must be readable.
inline constexpr std::size_t kLookAhead = 16;

struct Kernels {
  // Whether all of the times are greater than the one before, or some equal, or some not even that.
  Order (*orderOf)(const double* times, std::size_t count);

  // Look at `count` differences and add the square of finite number i to sum i % 8. `quotient` is
  // the greatest so far, negative if there was none.
  Facts (*measureDifferences)(const DifferenceArrays& from, std::size_t count, double quotient,
                              LaneSums& sums);
  Facts (*measureValues)(const ValueArrays& from, std::size_t count, double quotient,
                         LaneSums& sums);

  // Fills passed[k] with the number of samples at or before times[k]. The first `from` are known to
  // be, none after the first `most` is counted, kLookAhead more can be read. Neither list falls.
  // Returns the last number, `from` if there is none.
  std::size_t (*countUpTo)(const double* samples, std::size_t from, std::size_t most,
                           const double* times, std::size_t count, std::uint32_t* passed);

  // The value of a side at each of `count` times, of which passed[k] samples of the window are at
  // or before times[k]: at least one, and kLookAhead more can be read. `linearAt` fills values[k]
  // with the sample before if it stands at that time, else with between(the sample before, the one
  // after, (times[k] - time before) / (time after - time before)); `heldAt` with the sample before.
  void (*linearAt)(const SideWindow& side, const double* times, const std::uint32_t* passed,
                   std::size_t count, double* values);
  void (*heldAt)(const double* samples, const std::uint32_t* passed, std::size_t count,
                 double* values);
};

// The value `weight` of the way on a straight line from `a` to `b`: exactly `a` if they are equal,
// NaN on the way to or from infinity.
double between(double a, double b, double weight);

// The fastest that this machine can run.
const Kernels& kernels();

// All that it can run, the fastest last.
std::vector<const Kernels*> kernelsOfEveryWidth();

}  // namespace kvr::compare
