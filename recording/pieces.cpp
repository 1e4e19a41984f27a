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

namespace {

// From this size on, a copy of a piece costs more than opening it as a blob.
constexpr std::size_t largePiece = std::size_t{1} << 16;

[[noreturn]] void failAt(std::int64_t id, const char* what) {
  throw FormatError(FormatError::Kind::kDamaged, what, placeOf("piece", id));
}

// Steps to the row of a piece, whose column 0 is its sum.
void requirePiece(Statement& select, std::int64_t id) {
  select.bind(1, id);
  if (!select.step()) failAt(id, "is missing");
  if (select.type(0) != SQLITE_INTEGER) failAt(id, "a column has another type than it should");
}

void requireSum(const Statement& select, std::int64_t id, std::span<const std::byte> bytes) {
  if (static_cast<std::uint64_t>(select.integer(0)) != sumOf(bytes, static_cast<std::uint64_t>(id)))
    failAt(id, "has changed since it was written: its sum differs");
}

}  // namespace

PieceReader::PieceReader(const Connection& connection)
    : connection_(connection),
      selectAll_(connection.prepare("SELECT sum,bytes FROM piece WHERE id=?1")),
      selectSum_(connection.prepare("SELECT sum,typeof(bytes)='blob' FROM piece WHERE id=?1")) {}

void PieceReader::read(std::int64_t first, std::uint64_t size, std::uint64_t from,
                       std::span<std::byte> to) {
  std::optional<Blob> blob;
  while (!to.empty()) {
    const std::uint64_t number = from / pieceSize;
    const std::uint64_t start = number * pieceSize;
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, size - start));
    const auto place = static_cast<std::size_t>(from - start);
    const std::size_t count = std::min(length - place, to.size());
    const std::int64_t id = first + static_cast<std::int64_t>(number);
    if (count == length && count >= largePiece) {
      readWhole(id, to.first(count), blob);
    } else {
      readPart(id, length, place, to.first(count));
    }
    to = to.subspan(count);
    from += count;
  }
}

void PieceReader::readPart(std::int64_t id, std::size_t size, std::size_t from,
                           std::span<std::byte> to) {
  const Resetting afterwards(selectAll_);
  requirePiece(selectAll_, id);
  if (selectAll_.type(1) != SQLITE_BLOB) failAt(id, "a column has another type than it should");
  const auto bytes = selectAll_.blob(1);
  if (bytes.size() != size) failAt(id, "has another length than it should");
  requireSum(selectAll_, id, bytes);
  std::memcpy(to.data(), bytes.data() + from, to.size());
}

void PieceReader::readWhole(std::int64_t id, std::span<std::byte> to, std::optional<Blob>& blob) {
  const Resetting afterwards(selectSum_);
  requirePiece(selectSum_, id);
  if (selectSum_.integer(1) == 0) failAt(id, "a column has another type than it should");
  if (blob) {
    blob->reopen(id);
  } else {
    blob.emplace(connection_.openBlob("piece", "bytes", id));
  }
  if (blob->size() != to.size()) failAt(id, "has another length than it should");
  blob->read(to);
  requireSum(selectSum_, id, to);
}

}  // namespace kvr::recording
