// Rows of bytes, cut into pieces of 1 MiB. The sum of a piece is the XXH3-64 of its bytes with its
// id as the seed, which binds it to its place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "recording/database.h"

namespace kvr::recording {

class PieceWriter {
 public:
  // Continues after the piece with the id `last`.
  PieceWriter(const Connection& connection, std::int64_t last);

  // Returns the id of the first piece, 0 for no bytes.
  std::int64_t write(std::span<const std::byte> bytes);
  std::int64_t last() const noexcept { return last_; }

 private:
  Statement insert_;
  std::int64_t last_;
};

class PieceReader {
 public:
  explicit PieceReader(const Connection& connection);

  // Fills `to` from byte number `from` of the `size` bytes that begin in the piece `first`. Throws
  // FormatError for pieces that are missing, have another length, or do not have their sum.
  void read(std::int64_t first, std::uint64_t size, std::uint64_t from, std::span<std::byte> to);

 private:
  // A piece of `size` bytes: `to.size()` of them from byte number `from` on.
  void readPart(std::int64_t id, std::size_t size, std::size_t from, std::span<std::byte> to);
  // All of a piece, without a copy in between. `blob` is opened if it is not yet.
  void readWhole(std::int64_t id, std::span<std::byte> to, std::optional<Blob>& blob);

  const Connection& connection_;
  Statement selectAll_;
  Statement selectSum_;
};

}  // namespace kvr::recording
