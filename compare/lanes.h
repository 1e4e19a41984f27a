// Registers of every width, and what all kernels do with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#define KVR_INLINE [[gnu::always_inline]] inline

namespace kvr::compare {

// What fills a register of so many bytes: doubles, masks that have all bits of a lane or none, and
// half as many bytes of small numbers, one a lane.
struct In16Bytes {
  using Vector = double __attribute__((vector_size(16)));
  using Mask = std::int64_t __attribute__((vector_size(16)));
  using Small = std::uint32_t __attribute__((vector_size(8)));
};
struct In32Bytes {
  using Vector = double __attribute__((vector_size(32)));
  using Mask = std::int64_t __attribute__((vector_size(32)));
  using Small = std::uint32_t __attribute__((vector_size(16)));
};
struct In64Bytes {
  using Vector = double __attribute__((vector_size(64)));
  using Mask = std::int64_t __attribute__((vector_size(64)));
  using Small = std::uint32_t __attribute__((vector_size(32)));
};

template <class Width>
struct Lanes {
  using Vector = typename Width::Vector;
  using Mask = typename Width::Mask;
  using Small = typename Width::Small;

  static constexpr std::size_t kEach = sizeof(Vector) / sizeof(double);

  KVR_INLINE static void load(Vector& to, const double* from) { std::memcpy(&to, from, sizeof to); }
  KVR_INLINE static void store(double* to, const Vector& from) {
    std::memcpy(to, &from, sizeof from);
  }
  KVR_INLINE static void fill(Vector& to, double value) { to = Vector{} + value; }
  KVR_INLINE static bool any(const Mask& mask) {
    std::int64_t all = 0;
    for (std::size_t s = 0; s < kEach; ++s) all |= mask[s];
    return all != 0;
  }

  // Lane s of `to` becomes from[place[s]] for places below 2 * kEach, any of those otherwise.
  KVR_INLINE static void pick(Vector& to, const double* from, const Mask& place) {
#ifdef __clang__
    for (std::size_t s = 0; s < kEach; ++s) to[s] = from[place[s] & (2 * kEach - 1)];
#else
    Vector low;
    Vector high;
    load(low, from);
    load(high, from + kEach);
    to = __builtin_shuffle(low, high, place);
#endif
  }
};

}  // namespace kvr::compare
