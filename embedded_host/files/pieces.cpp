#include "embedded_host/files/pieces.h"

#include <xxhash.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "embedded_host/files/file_layout.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/files/value_reader.h"
#include "embedded_host/files/value_writer.h"

namespace vormel {
namespace {

std::span<const std::byte> bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

std::uint64_t sumOf(std::span<const std::byte> piece, std::uint64_t seed) noexcept {
  return XXH3_64bits_withSeed(piece.data(), piece.size(), seed);
}

// The seeds of the checksums of a variable's pieces, in order. A seed binds a piece to its variable
// and position: a row that leads to a piece of another variable is detected.
class Seeds {
 public:
  explicit Seeds(std::string_view name) : next_(XXH3_64bits(name.data(), name.size())) {}
  std::uint64_t next() noexcept { return next_++; }

 private:
  std::uint64_t next_;
};

// ---- Writing ----

// Blocks of at least this size are inserted from where they are, without a copy.
constexpr std::size_t largeBlock = std::size_t{1} << 16;

// Cuts a value into pieces and inserts them. Smaller blocks are collected in a buffer.
class PieceSink final : public ByteSink {
 public:
  PieceSink(Connection& connection, std::string_view name, std::size_t size)
      : connection_(connection),
        insert_(connection.prepare("INSERT INTO piece VALUES(?1,?2,?3)")),
        seeds_(name) {
    buffer_.reserve(std::min(size, pieceSize));
  }

  void write(const void* bytes, std::size_t size) override {
    const auto* next = static_cast<const std::byte*>(bytes);
    if (size >= largeBlock) {
      flush();
      for (; size >= largeBlock; size -= std::min(size, pieceSize)) {
        const std::size_t length = std::min(size, pieceSize);
        insert({next, length});
        next += length;
      }
    }
    if (buffer_.size() + size > pieceSize) flush();
    buffer_.insert(buffer_.end(), next, next + size);
  }

  void flush() {
    if (buffer_.empty()) return;
    insert(buffer_);
    buffer_.clear();
  }

  std::int64_t first() const noexcept { return first_; }
  std::int64_t count() const noexcept { return count_; }

 private:
  void insert(std::span<const std::byte> piece) {
    if (count_ == 0) {
      insert_.bindNull(1);  // SQLite chooses the number after the last one
    } else {
      insert_.bind(1, first_ + count_);
    }
    insert_.bind(2, static_cast<std::int64_t>(sumOf(piece, seeds_.next())));
    insert_.bind(3, piece);
    insert_.step();
    insert_.reset();
    if (count_ == 0) first_ = connection_.lastInsertId();
    ++count_;
  }

  Connection& connection_;
  Statement insert_;
  Seeds seeds_;
  std::vector<std::byte> buffer_;
  std::int64_t first_ = 0;
  std::int64_t count_ = 0;
};

// Deletes the pieces of the variable with numbers below `end`.
void deletePieces(Connection& connection, std::string_view name, std::int64_t end) {
  Statement find = connection.prepare("SELECT first,pieces FROM variable WHERE name=?1");
  find.bind(1, bytesOf(name));
  if (!find.step()) return;
  // Overwriting deleted pieces with zeros would write all of them again.
  connection.execute("PRAGMA secure_delete=OFF");
  Statement remove = connection.prepare("DELETE FROM piece WHERE id>=?1 AND id<?1+?2 AND id<?3");
  remove.bind(1, find.number(0));
  remove.bind(2, find.number(1));
  remove.bind(3, end);
  remove.step();
}

// ---- Reading ----

// The pieces of a variable in order, each checked before any byte of it is used.
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

  // The next piece, valid until the next call; empty at the end.
  std::span<const std::byte> next() {
    if (done_ > 0 && !rows_.step()) {
      if (done_ != count_) throw FileFault("a piece is missing");
      return {};
    }
    if (rows_.number(2) - first_ != done_++) throw FileFault("a piece is in the wrong place");
    if (!rows_.isBlob(blobColumn)) throw FileFault("a piece is not a blob");
    const std::span<const std::byte> piece = rows_.blob(blobColumn);
    const auto sum = static_cast<std::uint64_t>(rows_.number(3));
    if (piece.empty() || sumOf(piece, seeds_.next()) != sum) {
      throw FileFault("its data has changed since it was written");
    }
    return piece;
  }

 private:
  static constexpr int blobColumn = 4;

  Statement rows_;
  Seeds seeds_;
  std::int64_t first_ = 0;
  std::int64_t count_ = 0;
  std::int64_t done_ = 0;  // pieces returned
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

// An upper bound for the bytes of all pieces. The reader allocates arrays within this bound before
// it has read their elements.
std::uint64_t maxBytes(const Connection& connection, const AtomicFile& file, const Pieces& pieces,
                       std::string_view name) {
  const std::uint64_t most =
      std::min(file.size(), pieceSize * std::min(static_cast<std::uint64_t>(pieces.count()),
                                                 file.size() / pieceSize + 1));
  // The holes of a sparse file can pretend any size: measure what the file really holds.
  return most > file.sizeOnDisk() ? measurePieces(connection, name) : most;
}

}  // namespace

void writePieces(Connection& connection, std::string_view name, const vrArray* array,
                 std::size_t size) {
  PieceSink pieces(connection, name, size);
  writeValue(array, pieces);
  pieces.flush();
  // After inserting: a page that is freed and written again in one transaction is held in memory.
  deletePieces(connection, name, pieces.first());
  Statement put = connection.prepare("REPLACE INTO variable VALUES(?1,?2,?3)");
  put.bind(1, bytesOf(name));
  put.bind(2, pieces.first());
  put.bind(3, pieces.count());
  put.step();
}

OwnedArray readPieces(const Connection& connection, const AtomicFile& file, std::string_view name) {
  Pieces pieces(connection, name);
  PieceSource source(pieces, maxBytes(connection, file, pieces, name));
  return readValue(source);
}

}  // namespace vormel
