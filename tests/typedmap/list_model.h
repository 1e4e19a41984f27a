// The plainest map there is: a list of pairs, searched from its start.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace kvr::test {

template <class K, class V>
class ListModel {
 public:
  std::size_t size() const { return entries_.size(); }
  const std::pair<K, V>& operator[](std::size_t index) const { return entries_[index]; }

  // The index of the key, or -1.
  int find(const K& key) const {
    const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const auto& candidate) { return candidate.first == key; });
    return entry == entries_.end() ? -1 : static_cast<int>(entry - entries_.begin());
  }

  void put(const K& key, const V& value) {
    const int index = find(key);
    if (index < 0) {
      entries_.emplace_back(key, value);
    } else if (!(entries_[static_cast<std::size_t>(index)].second == value)) {
      entries_[static_cast<std::size_t>(index)].second = value;
    }
  }

  void erase(int index) { entries_.erase(entries_.begin() + index); }
  void clear() { entries_.clear(); }

 private:
  std::vector<std::pair<K, V>> entries_;
};

}  // namespace kvr::test
