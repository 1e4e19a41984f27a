#include "compare/kernels.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "compare/counting.h"
#include "compare/lanes.h"
#include "compare/sampling.h"

namespace kvr::compare {
namespace {

// The loops for registers of one width.
template <class Width>
struct Wide : Lanes<Width> {
  using typename Lanes<Width>::Vector;
  using typename Lanes<Width>::Mask;
  using Lanes<Width>::any;
  using Lanes<Width>::fill;
  using Lanes<Width>::kEach;
  using Lanes<Width>::load;

  static constexpr std::size_t kVectors = kLanes / kEach;

  // What is kept of each lane while differences are looked at.
  struct Look {
    KVR_INLINE Look(double quotient, const LaneSums& sums) {
      fill(greatest, std::numeric_limits<double>::max());
      fill(bound, quotient);
      // A quotient of 0 raises nothing but their absence.
      fill(floor, quotient < 0 ? -1.0 : std::numeric_limits<double>::denorm_min());
      std::memcpy(sum, sums.data(), sizeof sum);
      for (std::size_t v = 0; v < kVectors; ++v) least[v] = greatest;
    }

    // A quotient above the bound has a dividend of at least bound * size, rounded or not.
    KVR_INLINE void take(std::size_t v, const Vector& difference, const Vector& size,
                         const Vector& tolerance) {
      const Vector zero{};
      const Mask isFinite = difference <= greatest;
      const Vector finite = (Vector)((Mask)difference & isFinite);
      infinite[v] -= ~isFinite;
      unfit |= ~(difference <= tolerance);
      sum[v] += finite * finite;
      most[v] = most[v] < finite ? finite : most[v];
      const Vector nonzero = finite > zero ? finite : greatest;
      least[v] = nonzero < least[v] ? nonzero : least[v];
      const Vector scaled = bound * size;
      raises |= finite >= (scaled < floor ? floor : scaled);
    }

    KVR_INLINE Facts facts(std::size_t count, LaneSums& sums) const {
      std::memcpy(sums.data(), sum, sizeof sum);
      Facts facts;
      facts.finite = count;
      for (std::size_t s = 0; s < kLanes; ++s) {
        facts.most = std::max(facts.most, most[s / kEach][s % kEach]);
        facts.anyFar = facts.anyFar || least[s / kEach][s % kEach] < kSmall;
        facts.finite -= static_cast<std::size_t>(infinite[s / kEach][s % kEach]);
      }
      facts.anyFar = facts.anyFar || facts.most > kLarge;
      facts.anyUnfit = any(unfit) || facts.finite < count;
      facts.mayRaise = any(raises);
      return facts;
    }

    Vector greatest, bound, floor;
    Vector sum[kVectors], most[kVectors] = {}, least[kVectors];  // `least` of those that are not 0
    Mask infinite[kVectors] = {}, unfit{}, raises{};
  };

  KVR_INLINE static Order orderOf(const double* times, std::size_t count) {
    Mask notRising{};
    Mask falling{};
    std::size_t i = 1;
    for (; i + kEach <= count; i += kEach) {
      Vector before;
      Vector after;
      load(before, times + i - 1);
      load(after, times + i);
      notRising |= ~(before < after);
      falling |= ~(before <= after);
    }
    bool rises = !any(notRising);
    bool falls = any(falling);
    for (; i < count; ++i) {
      rises = rises && times[i - 1] < times[i];
      falls = falls || !(times[i - 1] <= times[i]);
    }
    return rises ? Order::kRises : falls ? Order::kFalls : Order::kTies;
  }

  KVR_INLINE static void takeEight(Look& look, const DifferenceArrays& from, std::size_t i) {
    for (std::size_t v = 0; v < kVectors; ++v) {
      Vector difference;
      Vector size;
      Vector tolerance;
      load(difference, from.difference + i + v * kEach);
      load(size, from.size + i + v * kEach);
      load(tolerance, from.tolerance + i + v * kEach);
      look.take(v, difference, size, tolerance);
    }
  }

  KVR_INLINE static void takeEight(Look& look, const ValueArrays& from, std::size_t i) {
    const Mask magnitude = Mask{} + std::numeric_limits<std::int64_t>::max();
    Vector absolute;
    Vector relative;
    fill(absolute, from.absolute);
    fill(relative, from.relative);
    for (std::size_t v = 0; v < kVectors; ++v) {
      Vector a;
      Vector b;
      load(a, from.a + i + v * kEach);
      load(b, from.b + i + v * kEach);
      const Vector difference = (Vector)((Mask)(a - b) & magnitude);
      const Vector size = (Vector)((Mask)a & magnitude);
      const Vector relativePart = relative * size;
      look.take(v, difference, size, absolute < relativePart ? relativePart : absolute);
    }
  }

  // Fewer than eight values, filled up with zeros.
  struct Rest {
    KVR_INLINE Rest(const double* from, std::size_t count) {
      for (std::size_t i = 0; i < count; ++i) values[i] = from[i];
    }
    double values[kLanes] = {};
  };

  KVR_INLINE static void takeRest(Look& look, const DifferenceArrays& from, std::size_t i,
                                  std::size_t count) {
    const Rest difference(from.difference + i, count);
    const Rest size(from.size + i, count);
    const Rest tolerance(from.tolerance + i, count);
    takeEight(look, DifferenceArrays{difference.values, size.values, tolerance.values}, 0);
  }

  KVR_INLINE static void takeRest(Look& look, const ValueArrays& from, std::size_t i,
                                  std::size_t count) {
    const Rest a(from.a + i, count);
    const Rest b(from.b + i, count);
    takeEight(look, ValueArrays{a.values, b.values, from.absolute, from.relative}, 0);
  }

  template <class Arrays>
  KVR_INLINE static Facts measure(const Arrays& from, std::size_t count, double quotient,
                                  LaneSums& sums) {
    Look look(quotient, sums);
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) takeEight(look, from, i);
    if (i < count) takeRest(look, from, i, count - i);
    return look.facts(count, sums);
  }
};

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is a type.

// The kernels for registers of a width, compiled for the machines of `target`.
#define KVR_KERNELS(width, target)                                                                 \
  target Order orderOf##width(const double* times, std::size_t count) {                            \
    return Wide<width>::orderOf(times, count);                                                     \
  }                                                                                                \
  target Facts measureDifferences##width(const DifferenceArrays& from, std::size_t count,          \
                                         double quotient, LaneSums& sums) {                        \
    return Wide<width>::measure(from, count, quotient, sums);                                      \
  }                                                                                                \
  target Facts measureValues##width(const ValueArrays& from, std::size_t count, double quotient,   \
                                    LaneSums& sums) {                                              \
    return Wide<width>::measure(from, count, quotient, sums);                                      \
  }                                                                                                \
  target void linearAt##width(const SideWindow& side, const double* times,                         \
                              const std::uint32_t* passed, std::size_t count, double* values) {    \
    Sampling<width>::linearAt(side, times, passed, count, values);                                 \
  }                                                                                                \
  target void heldAt##width(const double* samples, const std::uint32_t* passed, std::size_t count, \
                            double* values) {                                                      \
    Sampling<width>::heldAt(samples, passed, count, values);                                       \
  }                                                                                                \
  target std::size_t countUpTo##width(const double* samples, std::size_t from, std::size_t most,   \
                                      const double* times, std::size_t count,                      \
                                      std::uint32_t* passed) {                                     \
    return Counting<width>::countUpTo(samples, from, most, times, count, passed);                  \
  }                                                                                                \
  constexpr Kernels kKernels##width = {orderOf##width,       measureDifferences##width,            \
                                       measureValues##width, countUpTo##width,                     \
                                       linearAt##width,      heldAt##width};

// NOLINTEND(bugprone-macro-parentheses)

KVR_KERNELS(In16Bytes, )
#ifdef __x86_64__
KVR_KERNELS(In32Bytes, [[gnu::target("avx2")]])
KVR_KERNELS(In64Bytes, [[gnu::target("avx512f")]])
#endif

}  // namespace

double between(double a, double b, double weight) {
  if (a == b) return a;
  return std::isinf(b) ? std::numeric_limits<double>::quiet_NaN() : a + (b - a) * weight;
}

std::vector<const Kernels*> kernelsOfEveryWidth() {
  std::vector<const Kernels*> all = {&kKernelsIn16Bytes};
#ifdef __x86_64__
  if (__builtin_cpu_supports("avx2")) all.push_back(&kKernelsIn32Bytes);
  if (__builtin_cpu_supports("avx512f")) all.push_back(&kKernelsIn64Bytes);
#endif
  return all;
}

const Kernels& kernels() {
  static const Kernels& fastest = *kernelsOfEveryWidth().back();
  return fastest;
}

}  // namespace kvr::compare
