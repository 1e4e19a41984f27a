#include "embedded_host/files/pieces.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "embedded_host/files/file_error.h"
#include "embedded_host/files/file_layout.h"
#include "embedded_host/files/sum.h"
#include "embedded_host/files/value_reader.h"
#include "embedded_host/files/value_writer.h"

namespace vormel {
namespace {

std::span<const std::byte> bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

// The seeds of the sums of a variable's pieces, one after the other. They bind a piece to its place
// in its variable: rows that lead to the pieces of another one are noticed.
class Seeds {
 public:
  explicit Seeds(std::string_view name) : next_(sumOf(name.data(), name.size())) {}
  std::uint64_t next() noexcept { return next_++; }

 private:
  std::uint64_t next_;
};

// ---- Writing ----

// So many bytes in one stretch are not copied on the way.
constexpr std::size_t longStretch = std::size_t{1} << 16;

// Cuts a value into pieces and inserts them. Short stretches are gathered; long ones become pieces
// where they are.
class PieceSink final : public ByteSink {
 public:
  PieceSink(Connection& connection, std::string_view name, std::size_t size)
      : connection_(connection),
        insert_(connection.prepare("INSERT INTO piece VALUES(?1,?2,?3)")),
        seeds_(name) {
    gathered_.reserve(std::min(size, pieceSize));
  }

  void write(const void* bytes, std::size_t size) override {
    const auto* next = static_cast<const std::byte*>(bytes);
    if (size >= longStretch) {
      flush();
      for (; size >= longStretch; size -= std::min(size, pieceSize)) {
        const std::size_t length = std::min(size, pieceSize);
        insert({next, length});
        next += length;
      }
    }
    if (gathered_.size() + size > pieceSize) flush();
    gathered_.insert(gathered_.end(), next, next + size);
  }

  void flush() {
    if (gathered_.empty()) return;
    insert(gathered_);
    gathered_.clear();
  }

  std::int64_t first() const noexcept { return first_; }
  std::int64_t count() const noexcept { return count_; }

 private:
  void insert(std::span<const std::byte> piece) {
    if (count_ == 0) {
      insert_.bindNull(1);  // behind all pieces
    } else {
      insert_.bind(1, first_ + count_);
    }
    insert_.bind(2, static_cast<std::int64_t>(sumOf(piece.data(), piece.size(), seeds_.next())));
    insert_.bind(3, piece);
    insert_.step();
    insert_.reset();
    if (count_ == 0) first_ = connection_.lastInsertId();
    ++count_;
  }

  Connection& connection_;
  Statement insert_;
  Seeds seeds_;
  std::vector<std::byte> gathered_;
  std::int64_t first_ = 0;
  std::int64_t count_ = 0;
};

// Deletes the pieces of the variable, none of those from `end` on.
void deletePieces(Connection& connection, std::string_view name, std::int64_t end) {
  Statement find = connection.prepare("SELECT first,pieces FROM variable WHERE name=?1");
  find.bind(1, bytesOf(name));
  if (!find.step()) return;
  // What the pieces hold is not overwritten: that would write all of them again.
  connection.execute("PRAGMA secure_delete=OFF");
  Statement remove = connection.prepare("DELETE FROM piece WHERE id>=?1 AND id<?1+?2 AND id<?3");
  remove.bind(1, find.number(0));
  remove.bind(2, find.number(1));
  remove.bind(3, end);
  remove.step();
}

// ---- Reading ----

// The pieces of a variable, one after the other, each tested before any byte of it is read.
class Pieces {
 public:
  Pieces(const Connection& connection, std::string_view name)
      : rows_(connection.prepare(
            "SELECT v.first,v.pieces,p.id,p.sum,p.bytes FROM variable v CROSS JOIN piece p "
            "WHERE v.name=?1 AND p.id>=v.first AND p.id<v.first+v.pieces ORDER BY p.id")),
        seeds_(name) {
    rows_.bind(1, bytesOf(name));
    if (!rows_.step()) throw FileFault("there is no variable \"" + std::string(name) + "\"");
    first_ = rows_.number(0);
    count_ = rows_.number(1);
  }

  std::int64_t count() const noexcept { return count_; }

  // Until the next call; empty at the end.
  std::span<const std::byte> next() {
    if (done_ > 0 && !rows_.step()) {
      if (done_ != count_) throw FileFault("found a piece missing");
      return {};
    }
    if (rows_.number(2) - first_ != done_++) throw FileFault("found a piece in the wrong place");
    if (!rows_.isBlob(blobColumn)) throw FileFault("found a piece that is none");
    const std::span<const std::byte> piece = rows_.blob(blobColumn);
    const auto sum = static_cast<std::uint64_t>(rows_.number(3));
    if (piece.empty() || sumOf(piece.data(), piece.size(), seeds_.next()) != sum) {
      throw FileFault("found data that has changed since it was written");
    }
    return piece;
  }

 private:
  static constexpr int blobColumn = 4;

  Statement rows_;
  Seeds seeds_;
  std::int64_t first_ = 0;
  std::int64_t count_ = 0;
  std::int64_t done_ = 0;  // pieces given
};

// The bytes of all pieces.
std::uint64_t measurePieces(const Connection& connection, std::string_view name) {
  Pieces pieces(connection, name);
  std::uint64_t size = 0;
  for (auto piece = pieces.next(); !piece.empty(); piece = pieces.next()) size += piece.size();
  return size;
}

class PieceSource final : public ByteSource {
 public:
  PieceSource(Pieces& pieces, std::uint64_t most) : ByteSource({}, most), pieces_(pieces) {}

 private:
  std::span<const std::byte> nextWindow() override { return pieces_.next(); }

  Pieces& pieces_;
};

// The bytes of the pieces at most, which the reader makes arrays for before it has read them.
std::uint64_t mostBytes(const Connection& connection, const AtomicFile& file, const Pieces& pieces,
                        std::string_view name) {
  const std::uint64_t most =
      std::min(file.size(), pieceSize * std::min(static_cast<std::uint64_t>(pieces.count()),
                                                 file.size() / pieceSize + 1));
  // The holes of a sparse file can stand for anything: what it holds is read first.
  return most > file.sizeOnDisk() ? measurePieces(connection, name) : most;
}

}  // namespace

void writePieces(Connection& connection, std::string_view name, const vrArray* array,
                 std::size_t size) {
  PieceSink pieces(connection, name, size);
  writeValue(array, pieces);
  pieces.flush();
  // After the new ones: pages that come free in a transaction and are written again pass through
  // memory.
  deletePieces(connection, name, pieces.first());
  Statement put = connection.prepare("REPLACE INTO variable VALUES(?1,?2,?3)");
  put.bind(1, bytesOf(name));
  put.bind(2, pieces.first());
  put.bind(3, pieces.count());
  put.step();
}

OwnedArray readPieces(const Connection& connection, const AtomicFile& file, std::string_view name) {
  Pieces pieces(connection, name);
  PieceSource source(pieces, mostBytes(connection, file, pieces, name));
  return readValue(source);
}

}  // namespace vormel
