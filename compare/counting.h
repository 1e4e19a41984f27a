// How many samples stand at or before given times, in vector code. Both lists rise: the samples
// that the next few times pass lie most often in two registers, which are searched there by
// bisection. Each group of times waits for the one before, so that several stretches are searched
// side by side.
#pragma once

#include "compare/kernels.h"
#include "compare/lanes.h"

namespace kvr::compare {

template <class Width>
struct Counting : Lanes<Width> {
  using typename Lanes<Width>::Vector;
  using typename Lanes<Width>::Mask;
  using typename Lanes<Width>::Small;
  using Lanes<Width>::kEach;
  using Lanes<Width>::load;
  using Lanes<Width>::pick;

  static constexpr std::size_t kStretches = 6;

  KVR_INLINE static std::size_t countUpTo(const double* samples, std::size_t from, std::size_t most,
                                          const double* times, std::size_t count,
                                          std::uint32_t* passed) {
    const std::size_t length = count / (kStretches * kEach) * kEach;
    std::size_t p[kStretches] = {from};
    for (std::size_t s = 1; s < kStretches && length > 0; ++s) {
      p[s] = bisect(samples, p[s - 1], most, times[s * length - 1]);
    }
    for (std::size_t k = 0; k < length; k += kEach) {
      for (std::size_t s = 0; s < kStretches; ++s) {
        const std::size_t i = s * length + k;
        countGroup(samples, most, times + i, passed + i, p[s]);
      }
    }
    std::size_t& last = p[length > 0 ? kStretches - 1 : 0];
    std::size_t i = kStretches * length;
    for (; i + kEach <= count; i += kEach) countGroup(samples, most, times + i, passed + i, last);
    for (; i < count; ++i) passed[i] = countOne(samples, most, times[i], last);
    return last;
  }

 private:
  // How many of the samples up to number `most` are at or before the time; those up to `from` are.
  KVR_INLINE static std::size_t bisect(const double* samples, std::size_t from, std::size_t most,
                                       double time) {
    std::size_t low = from;
    for (std::size_t high = most; low < high;) {
      const std::size_t middle = low + (high - low) / 2;
      if (samples[middle] <= time) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low;
  }

  // Most times pass two samples or fewer, which takes no branch that depends on them.
  KVR_INLINE static std::uint32_t countOne(const double* samples, std::size_t most, double time,
                                           std::size_t& p) {
    p += samples[p] <= time ? 1 : 0;
    p += samples[p] <= time ? 1 : 0;
    while (p < most && samples[p] <= time) ++p;
    p = p < most ? p : most;
    return static_cast<std::uint32_t>(p);
  }

  KVR_INLINE static void countGroup(const double* samples, std::size_t most, const double* times,
                                    std::uint32_t* passed, std::size_t& p) {
    constexpr std::size_t kReach = 2 * kEach;
    // Registers of two numbers hold too few samples for a search to be worth it.
    const bool isClose =
        kEach > 2 && p + kReach <= most + 1 && samples[p + kReach - 1] > times[kEach - 1];
    if (!isClose) {
      for (std::size_t s = 0; s < kEach; ++s) passed[s] = countOne(samples, most, times[s], p);
      return;
    }
    Vector t;
    load(t, times);
    Mask number{};
    for (std::int64_t step = kEach; step > 0; step /= 2) {
      Vector sample;
      pick(sample, samples + p, number + (step - 1));
      const Mask isPassed = sample <= t;
      number += isPassed & step;
    }
    const Small all = __builtin_convertvector(number, Small) + static_cast<std::uint32_t>(p);
    std::memcpy(passed, &all, sizeof all);
    p = passed[kEach - 1];
  }
};

}  // namespace kvr::compare
