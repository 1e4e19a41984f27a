#include "recording/hierarchy.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "recording/recording.h"
#include "recording/rows.h"

namespace kvr::recording {
namespace {

[[noreturn]] void failWith(const char* what, const std::string& where) {
  throw FormatError(FormatError::Kind::kDamaged, what, where);
}

}  // namespace

Hierarchy::Hierarchy(const Connection& connection, const Contents& contents) {
  if (contents.hierarchy > contents.signals)
    failWith("has more rows than there are signals", "table hierarchy");
  Statement rows = connection.prepare(
      "SELECT signal,parent,sum FROM hierarchy WHERE signal<=?1 ORDER BY signal");
  rows.bind(1, contents.signals);
  RowBytes bytes;
  for (std::int64_t i = 0; i < contents.hierarchy; ++i) {
    if (!rows.step()) failWith("lacks rows", "table hierarchy");
    RowReader row(rows, bytes, "the parent of signal", rows.integer(0));
    const std::int64_t least = bySignal_.empty() ? 1 : bySignal_.back().signal + 1;
    const std::int64_t signal = row.integer(least, contents.signals);
    bySignal_.push_back({signal, row.integer(1, contents.signals)});
    row.end();
  }
  if (rows.step()) failWith("has more rows than it should", "table hierarchy");
  requireNoCircle();
  byParent_ = bySignal_;
  std::sort(byParent_.begin(), byParent_.end(), [](const Link& one, const Link& other) {
    return std::tie(one.parent, one.signal) < std::tie(other.parent, other.signal);
  });
}

std::ptrdiff_t Hierarchy::find(std::int64_t signal) const {
  const auto place =
      std::lower_bound(bySignal_.begin(), bySignal_.end(), signal,
                       [](const Link& link, std::int64_t wanted) { return link.signal < wanted; });
  return place != bySignal_.end() && place->signal == signal ? place - bySignal_.begin() : -1;
}

// Walks up from every signal, but over no link twice: links walked before lead to a root.
void Hierarchy::requireNoCircle() const {
  std::vector<std::size_t> walkedBy(bySignal_.size(), 0);
  for (std::size_t walk = 1; walk <= bySignal_.size(); ++walk) {
    auto at = static_cast<std::ptrdiff_t>(walk) - 1;
    while (at >= 0 && walkedBy[static_cast<std::size_t>(at)] == 0) {
      walkedBy[static_cast<std::size_t>(at)] = walk;
      at = find(bySignal_[static_cast<std::size_t>(at)].parent);
    }
    if (at >= 0 && walkedBy[static_cast<std::size_t>(at)] == walk)
      failWith("is part of itself",
               placeOf("signal", bySignal_[static_cast<std::size_t>(at)].signal));
  }
}

std::optional<std::int64_t> Hierarchy::parent(std::int64_t signal) const {
  const std::ptrdiff_t place = find(signal);
  if (place < 0) return std::nullopt;
  return bySignal_[static_cast<std::size_t>(place)].parent;
}

std::vector<std::int64_t> Hierarchy::children(std::int64_t signal) const {
  auto place =
      std::lower_bound(byParent_.begin(), byParent_.end(), signal,
                       [](const Link& link, std::int64_t wanted) { return link.parent < wanted; });
  std::vector<std::int64_t> found;
  for (; place != byParent_.end() && place->parent == signal; ++place)
    found.push_back(place->signal);
  return found;
}

NewHierarchy::NewHierarchy(const Hierarchy& found) {
  for (const Hierarchy::Link& link : found.links()) add(link.signal, link.parent);
}

void NewHierarchy::requireFree(std::int64_t signal, std::int64_t parent) const {
  if (parents_.contains(signal)) throw std::invalid_argument("the signal has a parent");
  const auto refuse = [] { throw std::invalid_argument("a signal would be part of itself"); };
  if (signal == parent) refuse();
  if (!haveParts_.contains(signal)) return;  // it has no descendants
  for (auto above = parents_.find(parent); above != parents_.end();
       above = parents_.find(above->second))
    if (above->second == signal) refuse();
}

void NewHierarchy::add(std::int64_t signal, std::int64_t parent) {
  parents_.emplace(signal, parent);
  haveParts_.insert(parent);
}

}  // namespace kvr::recording
