#include "compare/kernels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

// One copy of a function for each width of vector registers; the loader picks one. Sanitizers and
// coverage cannot run in what picks it.
#if defined(__x86_64__) && defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
#define KVR_FOR_EACH_WIDTH [[gnu::target_clones("avx512f", "avx2", "default")]]
#else
#define KVR_FOR_EACH_WIDTH
#endif

namespace kvr::compare {
namespace {

using Lanes = double __attribute__((vector_size(64)));
using Mask = std::int64_t __attribute__((vector_size(64)));  // all bits of a lane, or none

#define KVR_INLINE [[gnu::always_inline]] inline

KVR_INLINE void load(Lanes& to, const double* from) { std::memcpy(&to, from, sizeof to); }
KVR_INLINE void fill(Lanes& to, double value) { to = Lanes{} + value; }
KVR_INLINE bool any(const Mask& mask) {
  std::int64_t all = 0;
  for (std::size_t s = 0; s < kLanes; ++s) all |= mask[s];
  return all != 0;
}

// What is kept lane by lane while differences are looked at.
struct Look {
  KVR_INLINE Look(double quotient, const std::array<double, kLanes>& sums) {
    fill(greatest, std::numeric_limits<double>::max());
    fill(small, kSmall);
    fill(bound, quotient);
    // Quotients of 0 raise nothing but their absence.
    fill(floor, quotient < 0 ? -1.0 : std::numeric_limits<double>::denorm_min());
    std::memcpy(&sum, sums.data(), sizeof sum);
  }

  // A quotient above the bound has a dividend of at least bound * size, rounded or not.
  KVR_INLINE void take(const Lanes& difference, const Lanes& size, const Lanes& tolerance) {
    const Mask isFinite = difference <= greatest;
    const Lanes finite = (Lanes)((Mask)difference & isFinite);
    const Lanes zero{};
    infinite += ~isFinite & 1;
    unfit |= ~(difference <= tolerance);
    sum += finite * finite;
    most = most < finite ? finite : most;
    far |= (finite < small) & (finite > zero);
    const Lanes scaled = bound * size;
    raises |= (finite >= scaled) & (finite >= floor);
  }

  KVR_INLINE Facts facts(std::size_t count, std::array<double, kLanes>& sums) const {
    std::memcpy(sums.data(), &sum, sizeof sum);
    Facts facts;
    facts.finite = count;
    for (std::size_t s = 0; s < kLanes; ++s) {
      facts.most = std::max(facts.most, most[s]);
      facts.finite -= static_cast<std::size_t>(infinite[s]);
    }
    facts.anyUnfit = any(unfit) || facts.finite < count;
    facts.anyFar = any(far) || facts.most > kLarge;
    facts.mayRaise = any(raises);
    return facts;
  }

  Lanes greatest, small, bound, floor;
  Lanes sum, most{};
  Mask infinite{}, unfit{}, far{}, raises{};
};

// The last values of an array, filled up with zeros.
struct Rest {
  KVR_INLINE Rest(const double* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) values[i] = from[i];
  }
  double values[kLanes] = {};
};

KVR_INLINE void takePair(Look& look, const double* a, const double* b, const Lanes& absolute,
                         const Lanes& relative) {
  Lanes left;
  Lanes right;
  load(left, a);
  load(right, b);
  const Mask magnitude = Mask{} + std::numeric_limits<std::int64_t>::max();
  const Lanes difference = (Lanes)((Mask)(left - right) & magnitude);
  const Lanes size = (Lanes)((Mask)left & magnitude);
  const Lanes relativePart = relative * size;
  look.take(difference, size, absolute < relativePart ? relativePart : absolute);
}

KVR_INLINE void takeArrays(Look& look, const double* difference, const double* size,
                           const double* tolerance) {
  Lanes d;
  Lanes s;
  Lanes t;
  load(d, difference);
  load(s, size);
  load(t, tolerance);
  look.take(d, s, t);
}

}  // namespace

KVR_FOR_EACH_WIDTH Order orderOf(const double* times, std::size_t count) {
  Mask notRising{};
  Mask falling{};
  std::size_t i = 1;
  for (; i + kLanes <= count; i += kLanes) {
    Lanes before;
    Lanes after;
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

KVR_FOR_EACH_WIDTH Facts measureDifferences(const double* difference, const double* size,
                                            const double* tolerance, std::size_t count,
                                            double quotient,
                                            std::array<double, kLanes>& sums) {
  Look look(quotient, sums);
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    takeArrays(look, difference + i, size + i, tolerance + i);
  }
  if (i < count) {
    const Rest d(difference + i, count - i);
    const Rest s(size + i, count - i);
    const Rest t(tolerance + i, count - i);
    takeArrays(look, d.values, s.values, t.values);
  }
  return look.facts(count, sums);
}

KVR_FOR_EACH_WIDTH Facts measurePair(const double* a, const double* b, std::size_t count,
                                     double absolute, double relative, double quotient,
                                     std::array<double, kLanes>& sums) {
  Look look(quotient, sums);
  Lanes absoluteLanes;
  Lanes relativeLanes;
  fill(absoluteLanes, absolute);
  fill(relativeLanes, relative);
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    takePair(look, a + i, b + i, absoluteLanes, relativeLanes);
  }
  if (i < count) {
    const Rest restOfA(a + i, count - i);
    const Rest restOfB(b + i, count - i);
    takePair(look, restOfA.values, restOfB.values, absoluteLanes, relativeLanes);
  }
  return look.facts(count, sums);
}

KVR_FOR_EACH_WIDTH void findWeights(const double* t, const double* before, const double* after,
                                    std::size_t count, double* weight) {
  for (std::size_t i = 0; i < count; ++i) {
    weight[i] = (t[i] - before[i]) / (after[i] - before[i]);
  }
}

}  // namespace kvr::compare
