#include "compare/reaches.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace kvr::compare {

// The order of doubles as that of integers; -0 and 0 are one key.
Reaches::Key Reaches::keyOf(double value) {
  constexpr Key kSign = Key{1} << 63;
  const Key bits = std::bit_cast<Key>(value + 0.0);
  return (bits & kSign) != 0 ? ~bits : bits | kSign;
}

void Reaches::splitAt(Key key) {
  const auto after = seen_.upper_bound(key);
  if (after == seen_.begin()) {
    seen_.emplace_hint(after, key, kNone);
    return;
  }
  const auto at = std::prev(after);
  if (at->first != key) seen_.emplace_hint(after, key, at->second);
}

void Reaches::lay(const Reach& reach, std::size_t mark, std::size_t oldest) {
  const Key from = keyOf(reach.least);
  const Key to = keyOf(reach.most) + 1;
  splitAt(to);
  splitAt(from);
  const auto first = seen_.find(from);
  first->second = mark + 1;
  seen_.erase(std::next(first), seen_.find(to));
  if (seen_.size() > sweepAt_) dropOlderThan(oldest);
}

// Joins stretches of the line where nothing is seen that is new enough.
void Reaches::dropOlderThan(std::size_t oldest) {
  bool joins = false;
  for (auto at = seen_.begin(); at != seen_.end();) {
    const bool isOld = at->second <= oldest;
    if (isOld && joins) {
      at = seen_.erase(at);
      continue;
    }
    if (isOld) at->second = kNone;
    joins = isOld;
    ++at;
  }
  sweepAt_ = std::max<std::size_t>(64, 2 * seen_.size());
}

bool Reaches::meets(double least, double most, std::size_t oldest) {
  const Key to = keyOf(most);
  auto at = seen_.upper_bound(keyOf(least));
  if (at != seen_.begin()) --at;
  // Every stretch passed is too old, and all but the first of them are dropped.
  for (bool joins = false; at != seen_.end() && at->first <= to; joins = true) {
    if (at->second > oldest) return true;
    at->second = kNone;
    at = joins ? seen_.erase(at) : std::next(at);
  }
  return false;
}

}  // namespace kvr::compare
