// The lowest and highest of any stretch of a series, and its next gap or event, found without
// reading the whole stretch.
//
// Every 64 samples are a leaf, and every 8 nodes of a level are one of the next. A node says where
// its extremes are and which kinds of samples it has. A stretch is read as whole nodes, as large as
// they fit, and as samples at both ends:
//
//   level 2   [                       512 samples * 8                      ] ...
//   level 1   [   64 * 8   ][            ][            ]
//   level 0   [64][64][64] ...
//                   |<--- samples, leaves, nodes of level 1, leaves, samples --->|
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kvr::thinning {

// Indices of samples, from 0.
struct Extremes {
  std::size_t minimum = 0, maximum = 0;

  bool operator==(const Extremes&) const = default;
};

// What a sample may be; several are possible.
enum class Kind : std::uint8_t {
  kNumber = 1,
  kGap = 2,       // its value is NaN
  kSameTime = 4,  // the next sample has the same time
};

// Of a view of the caller's arrays, which must neither change nor end before the tree. Stretches go
// from the sample `begin` up to `end`, which does not belong to them and is at most the number of
// samples. An array that changes nevertheless makes the answers wrong, but never leads outside.
class ExtremesTree {
 public:
  // Both of one length. Linear; fails with std::bad_alloc.
  ExtremesTree(std::span<const double> times, std::span<const double> values);

  // Of equals the earliest; nothing if there is no number. O(log n).
  std::optional<Extremes> extremes(std::size_t begin, std::size_t end) const;

  // The first sample of a kind, `end` if there is none. O(log n).
  std::size_t next(Kind kind, std::size_t begin, std::size_t end) const;

  // The last sample of a kind, `end` if there is none. O(log n).
  std::size_t last(Kind kind, std::size_t begin, std::size_t end) const;

 private:
  struct Level {
    std::size_t span;  // samples of a node, a power of two; the last node may have fewer
    std::vector<Extremes> extremes;
    std::vector<std::uint8_t> kinds;
  };

  class Running;

  void addLeaves();
  void addLevel();
  bool is(Kind kind, std::size_t sample) const;

  std::span<const double> times_;
  std::span<const double> values_;
  std::vector<Level> levels_;
};

}  // namespace kvr::thinning
