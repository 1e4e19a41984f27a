// Which of many intervals, each newer than the ones before, meets a given one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory_resource>

namespace kvr::compare {

// The values within tolerance of one or several candidates. Without any it holds no value.
struct Reach {
  double least = std::numeric_limits<double>::infinity();
  double most = -std::numeric_limits<double>::infinity();

  bool isEmpty() const { return least > most; }
  void include(const Reach& reach) {
    if (reach.least < least) least = reach.least;
    if (reach.most > most) most = reach.most;
  }
};

// Reaches laid over the line of values, the newer ones over the older. Of those that meet an
// interval the newest is seen somewhere in it, since only a newer one could cover it there.
// Cost: log n for each operation, averaged over all.
class Reaches {
 public:
  // Lays a reach, not empty, over those before. Marks rise from call to call. Those below `oldest`
  // count no more; that bound never falls from call to call, here and below.
  void lay(const Reach& reach, std::size_t mark, std::size_t oldest);

  // Whether a reach of mark `oldest` or newer has a value from `least` to `most`.
  bool meets(double least, double most, std::size_t oldest);

  void clear() { seen_.clear(); }

 private:
  using Key = std::uint64_t;
  static constexpr std::size_t kNone = 0;

  static Key keyOf(double value);
  void splitAt(Key key);
  void dropOlderThan(std::size_t oldest);

  std::pmr::unsynchronized_pool_resource memory_;
  // From each key up to the next: 1 + the mark seen there, or kNone.
  std::pmr::map<Key, std::size_t> seen_{&memory_};
  std::size_t sweepAt_ = 64;  // entries at which those that are too old are dropped
};

}  // namespace kvr::compare
