// Rows with a sum: RowWriter binds the cells of a row one after the other and ends it with its sum,
// RowReader takes the cells in the same order and tests type and sum.
//
// The sum is the XXH3-64 of all cells before it. An integer counts as the byte 'i' and its 8 bytes,
// a real number as 'r' and its 8 bytes, a text as 't', its length in 8 bytes and its bytes, NULL as
// 'n'; all numbers little-endian.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "recording/database.h"
#include "recording/layout.h"
#include "recording/recording.h"

namespace kvr::recording {

std::uint64_t sumOf(std::span<const std::byte> bytes, std::uint64_t seed = 0) noexcept;

// The bytes that a row's sum is made of.
class RowBytes {
 public:
  void clear() noexcept { bytes_.clear(); }
  void integer(std::int64_t number);
  void real(double number);
  void text(std::string_view text);
  void null() { bytes_ += 'n'; }
  std::int64_t sum() const noexcept;

 private:
  void number(std::uint64_t number);
  std::string bytes_;
};

class RowWriter {
 public:
  RowWriter(const Connection& connection, std::string_view sql)
      : statement_(connection.prepare(sql)) {}

  RowWriter& integer(std::int64_t number);
  RowWriter& integer(std::optional<std::int64_t> number);
  RowWriter& real(double number);          // NaN becomes NULL
  RowWriter& text(std::string_view text);  // must stay where it is until write()
  RowWriter& null();
  void write();
  // Gives up the row that was begun.
  void clear() noexcept;

 private:
  Statement statement_;
  RowBytes bytes_;
  int place_ = 0;
};

// Reads the row that the statement stands at. Throws FormatError with `where`.
class RowReader {
 public:
  RowReader(const Statement& statement, RowBytes& bytes, std::string_view table, std::int64_t id);

  std::int64_t integer(std::int64_t least, std::int64_t most);
  std::int64_t integer() { return integer(INT64_MIN, INT64_MAX); }
  std::optional<std::int64_t> integerOrNull(std::int64_t least, std::int64_t most);
  double real();  // NULL is NaN
  std::string text();
  std::optional<std::string> textOrNull();
  void end();

  [[noreturn]] void fail(const std::string& what) const;

 private:
  bool isNull();
  void require(int type);

  const Statement& statement_;
  RowBytes& bytes_;
  std::string_view table_;
  std::int64_t id_;
  int column_ = 0;
};

std::string placeOf(std::string_view table, std::int64_t id);

bool isUtf8(std::string_view text) noexcept;

// ---- Columns of several kinds of rows ----

std::optional<ValueClass> classNamed(std::string_view name) noexcept;

// Numbers in decimal, with a space between two.
std::string listOf(std::span<const std::uint64_t> numbers);
std::string listOf(std::span<const std::int32_t> numbers);
std::optional<std::vector<std::uint64_t>> extentsOf(std::string_view list);
std::optional<std::vector<std::int32_t>> channelOf(std::string_view list);

// Bytes of so many elements; none if that is 2^63 or more. Of kText none as well.
std::optional<std::uint64_t> bytesOf(ValueClass valueClass, std::uint64_t samples,
                                     std::span<const std::uint64_t> shape) noexcept;

constexpr std::int64_t piecesOf(std::uint64_t bytes) noexcept {
  return static_cast<std::int64_t>(bytes / pieceSize + (bytes % pieceSize != 0 ? 1 : 0));
}

}  // namespace kvr::recording
