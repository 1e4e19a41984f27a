// The time bases of a file that is written: equal times are written once.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "recording/pieces.h"
#include "recording/recording.h"
#include "recording/rows.h"

namespace kvr::recording {

class KnownTimes {
 public:
  // Of a file that has `count` time bases.
  KnownTimes(const Connection& connection, std::int64_t count);

  // The id of the time base with these times; writes one if there is none. Where hashes are equal
  // the times are compared.
  std::int64_t idOf(const Samples& times, PieceWriter& pieces);
  std::int64_t last() const noexcept { return last_; }

 private:
  TimeBase find(const Samples& times, PieceWriter& pieces);
  bool areSame(const TimeBase& known, const Samples& times);
  bool isKept(const TimeBase& known) const { return kept_.contains(known.id); }
  void keep(std::int64_t id, std::span<const std::byte> bytes);

  RowWriter insert_;
  PieceReader reader_;
  std::int64_t last_;
  std::unordered_multimap<std::uint64_t, TimeBase> byHash_;
  // Those that were written last, so that they are not read again for every signal.
  std::unordered_map<std::int64_t, std::vector<std::byte>> kept_;
  std::size_t keptBytes_ = 0;
  // Those of the signal before: most signals share them, and comparing is cheaper than hashing.
  TimeBase before_;
};

// The time base of this id, checked.
TimeBase readTimeBase(Statement& select, RowBytes& bytes, std::int64_t id, const Contents& contents,
                      std::uint64_t* hash = nullptr);

inline constexpr std::string_view selectTimeBase =
    "SELECT id,class,samples,first_piece,hash,sum FROM time_base WHERE id=?1";

}  // namespace kvr::recording
