// Which signal is part of which.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "recording/database.h"
#include "recording/layout.h"

namespace kvr::recording {

// The table of a file, read at once: 32 bytes a link, fewer than the signal's row has. Links of
// signals behind the last one of the contents, which a writer added meanwhile, are left out.
class Hierarchy {
 public:
  // Throws FormatError for rows that are damaged or missing, and for cycles.
  Hierarchy(const Connection& connection, const Contents& contents);

  std::optional<std::int64_t> parent(std::int64_t signal) const;
  // In rising order.
  std::vector<std::int64_t> children(std::int64_t signal) const;

  struct Link {
    std::int64_t signal;
    std::int64_t parent;
  };
  const std::vector<Link>& links() const noexcept { return bySignal_; }

 private:
  std::ptrdiff_t find(std::int64_t signal) const;
  void requireNoCircle() const;

  std::vector<Link> bySignal_;
  std::vector<Link> byParent_;
};

// The links of a file that is written.
class NewHierarchy {
 public:
  NewHierarchy() = default;
  explicit NewHierarchy(const Hierarchy& found);

  // std::invalid_argument for a signal that has a parent, and for a cycle.
  void requireFree(std::int64_t signal, std::int64_t parent) const;
  void add(std::int64_t signal, std::int64_t parent);

 private:
  std::unordered_map<std::int64_t, std::int64_t> parents_;
  std::unordered_set<std::int64_t> haveParts_;
};

}  // namespace kvr::recording
