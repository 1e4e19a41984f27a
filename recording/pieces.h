// Rows of bytes, cut into pieces of 1 MiB. The sum of a piece is the XXH3-64 of its bytes with its
// id as the seed, which binds it to its place.
#pragma once

#include <cstddef>
#include <cstdint>
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
  void readPiece(std::int64_t id, std::size_t size, std::size_t from, std::span<std::byte> to);

  Statement select_;
};

}  // namespace kvr::recording
