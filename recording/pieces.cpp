#include "recording/pieces.h"

#include <algorithm>
#include <cstring>

#include "recording/layout.h"
#include "recording/recording.h"
#include "recording/rows.h"

namespace kvr::recording {

PieceWriter::PieceWriter(const Connection& connection, std::int64_t last)
    : insert_(connection.prepare("INSERT INTO piece VALUES(?1,?2,?3)")), last_(last) {}

std::int64_t PieceWriter::write(std::span<const std::byte> bytes) {
  if (bytes.empty()) return 0;
  const std::int64_t first = last_ + 1;
  while (!bytes.empty()) {
    const Resetting afterwards(insert_);
    const auto piece = bytes.first(std::min(bytes.size(), pieceSize));
    const std::int64_t id = last_ + 1;
    insert_.bind(1, id);
    insert_.bind(2, static_cast<std::int64_t>(sumOf(piece, static_cast<std::uint64_t>(id))));
    insert_.bind(3, piece);
    insert_.step();
    last_ = id;
    bytes = bytes.subspan(piece.size());
  }
  return first;
}

PieceReader::PieceReader(const Connection& connection)
    : select_(connection.prepare("SELECT sum,bytes FROM piece WHERE id=?1")) {}

void PieceReader::read(std::int64_t first, std::uint64_t size, std::uint64_t from,
                       std::span<std::byte> to) {
  while (!to.empty()) {
    const std::uint64_t number = from / pieceSize;
    const std::uint64_t start = number * pieceSize;
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, size - start));
    const auto place = static_cast<std::size_t>(from - start);
    const std::size_t count = std::min(length - place, to.size());
    readPiece(first + static_cast<std::int64_t>(number), length, place, to.first(count));
    to = to.subspan(count);
    from += count;
  }
}

void PieceReader::readPiece(std::int64_t id, std::size_t size, std::size_t from,
                            std::span<std::byte> to) {
  const auto fail = [&](const char* what) {
    throw FormatError(FormatError::Kind::kDamaged, what, placeOf("piece", id));
  };
  const Resetting afterwards(select_);
  select_.bind(1, id);
  if (!select_.step()) fail("is missing");
  if (select_.type(0) != SQLITE_INTEGER || select_.type(1) != SQLITE_BLOB)
    fail("a column has another type than it should");
  const auto bytes = select_.blob(1);
  if (bytes.size() != size) fail("has another length than it should");
  if (static_cast<std::uint64_t>(select_.integer(0)) !=
      sumOf(bytes, static_cast<std::uint64_t>(id)))
    fail("has changed since it was written: its sum differs");
  std::memcpy(to.data(), bytes.data() + from, to.size());
}

}  // namespace kvr::recording
