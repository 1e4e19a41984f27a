// The values of one side at given times, in vector code. Times that follow each other lie between
// samples that stand close together, most often so close that a few registers hold them all: their
// values are picked from there. Otherwise they are loaded one by one.
#pragma once

#include "compare/kernels.h"
#include "compare/lanes.h"

namespace kvr::compare {

template <class Width>
struct Sampling : Lanes<Width> {
  using typename Lanes<Width>::Vector;
  using typename Lanes<Width>::Mask;
  using typename Lanes<Width>::Small;
  using Lanes<Width>::fill;
  using Lanes<Width>::kEach;
  using Lanes<Width>::load;
  using Lanes<Width>::pick;
  using Lanes<Width>::store;

  // Where as many times as there are lanes lie among the samples.
  struct Group {
    KVR_INLINE explicit Group(const std::uint32_t* passed) : first(passed[0]) {
      Small all;
      std::memcpy(&all, passed, sizeof all);
      offset = __builtin_convertvector(all - passed[0], Mask);
    }
    // Whether `pick` reaches the samples of all.
    KVR_INLINE static bool isClose(const std::uint32_t* passed) {
      return passed[kEach - 1] - passed[0] < 2 * kEach;
    }

    // The last sample before each time, and the first after it.
    KVR_INLINE void before(Vector& to, const double* samples) const {
      pick(to, samples + first - 1, offset);
    }
    KVR_INLINE void after(Vector& to, const double* samples) const {
      pick(to, samples + first, offset);
    }

    std::size_t first;
    Mask offset;
  };

  KVR_INLINE static void linearAt(const SideWindow& side, const double* times,
                                  const std::uint32_t* passed, std::size_t count, double* values) {
    std::size_t i = 0;
    for (; i + kEach <= count; i += kEach) {
      if (Group::isClose(passed + i)) {
        interpolate(side, Group(passed + i), times + i, values + i);
      } else {
        interpolateEach(side, times + i, passed + i, kEach, values + i);
      }
    }
    interpolateEach(side, times + i, passed + i, count - i, values + i);
  }

  KVR_INLINE static void interpolate(const SideWindow& side, const Group& group,
                                     const double* times, double* values) {
    const Mask magnitude = Mask{} + std::numeric_limits<std::int64_t>::max();
    Vector greatest;
    Vector none;
    fill(greatest, std::numeric_limits<double>::max());
    fill(none, std::numeric_limits<double>::quiet_NaN());
    Vector t;
    Vector before;
    Vector after;
    Vector a;
    Vector b;
    load(t, times);
    group.before(before, side.times);
    group.after(after, side.times);
    group.before(a, side.values);
    group.after(b, side.values);
    const Vector onLine = a + (b - a) * ((t - before) / (after - before));
    const Vector size = (Vector)((Mask)b & magnitude);
    const Vector bounded = size <= greatest ? onLine : none;
    const Vector line = a == b ? a : bounded;
    const Mask isAt = t == before;
    store(values, (Vector)(((Mask)a & isAt) | ((Mask)line & ~isAt)));
  }

  KVR_INLINE static void interpolateEach(const SideWindow& side, const double* times,
                                         const std::uint32_t* passed, std::size_t count,
                                         double* values) {
    for (std::size_t k = 0; k < count; ++k) {
      const double* const t = side.times + passed[k];
      const double* const value = side.values + passed[k];
      const double weight = (times[k] - t[-1]) / (t[0] - t[-1]);
      values[k] = times[k] == t[-1] ? value[-1] : between(value[-1], value[0], weight);
    }
  }

  KVR_INLINE static void heldAt(const double* samples, const std::uint32_t* passed,
                                std::size_t count, double* values) {
    std::size_t i = 0;
    for (; i + kEach <= count; i += kEach) {
      if (Group::isClose(passed + i)) {
        Vector value;
        Group(passed + i).before(value, samples);
        store(values + i, value);
      } else {
        for (std::size_t s = i; s < i + kEach; ++s) values[s] = samples[passed[s] - std::size_t{1}];
      }
    }
    for (; i < count; ++i) values[i] = samples[passed[i] - std::size_t{1}];
  }
};

}  // namespace kvr::compare
