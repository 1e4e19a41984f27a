#include "recording/rows.h"

#include <xxhash.h>
#if defined(__x86_64__)
// Replaces XXH3_64bits and XXH3_64bits_withSeed by functions that use the processor's widest
// vectors.
#include <xxh_x86dispatch.h>
#endif

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace kvr::recording {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie there");

std::uint64_t sumOf(std::span<const std::byte> bytes, std::uint64_t seed) noexcept {
  return XXH3_64bits_withSeed(bytes.data(), bytes.size(), seed);
}

std::string placeOf(std::string_view table, std::int64_t id) {
  return std::string(table) + " " + std::to_string(id);
}

bool isUtf8(std::string_view text) noexcept {
  // Of each length of a sequence the least code point; what takes fewer bytes must be written so.
  constexpr std::array<std::uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  for (std::size_t i = 0; i < text.size();) {
    const auto first = static_cast<unsigned char>(text[i]);
    const int length = first < 0x80 ? 1 : std::countl_one(first);
    if (length == 1 && first < 0x80) {
      ++i;
      continue;
    }
    if (length < 2 || length > 4 || text.size() - i < static_cast<std::size_t>(length))
      return false;
    std::uint32_t code = first & (0x7FU >> length);
    for (int k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
      if ((next & 0xC0) != 0x80) return false;
      code = code << 6 | (next & 0x3FU);
    }
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    if (code < least[static_cast<std::size_t>(length)] || code > 0x10FFFF || isSurrogate)
      return false;
    i += static_cast<std::size_t>(length);
  }
  return true;
}

// ---- RowBytes ----

void RowBytes::number(std::uint64_t number) {
  std::array<char, sizeof number> raw;
  std::memcpy(raw.data(), &number, sizeof number);
  bytes_.append(raw.data(), raw.size());
}

void RowBytes::integer(std::int64_t value) {
  bytes_ += 'i';
  number(static_cast<std::uint64_t>(value));
}

void RowBytes::real(double value) {
  bytes_ += 'r';
  number(std::bit_cast<std::uint64_t>(value));
}

void RowBytes::text(std::string_view text) {
  bytes_ += 't';
  number(text.size());
  bytes_ += text;
}

std::int64_t RowBytes::sum() const noexcept {
  return static_cast<std::int64_t>(XXH3_64bits(bytes_.data(), bytes_.size()));
}

// ---- RowWriter ----

RowWriter& RowWriter::integer(std::int64_t number) {
  statement_.bind(++place_, number);
  bytes_.integer(number);
  return *this;
}

RowWriter& RowWriter::integer(std::optional<std::int64_t> number) {
  return number ? integer(*number) : null();
}

RowWriter& RowWriter::real(double number) {
  if (std::isnan(number)) return null();
  number += 0.0;  // SQLite reads -0.0 as 0.0
  statement_.bind(++place_, number);
  bytes_.real(number);
  return *this;
}

RowWriter& RowWriter::text(std::string_view text) {
  statement_.bind(++place_, text);
  bytes_.text(text);
  return *this;
}

RowWriter& RowWriter::null() {
  statement_.bindNull(++place_);
  bytes_.null();
  return *this;
}

void RowWriter::write() {
  const Resetting afterwards(statement_);
  statement_.bind(++place_, bytes_.sum());
  clear();
  statement_.step();
}

void RowWriter::clear() noexcept {
  place_ = 0;
  bytes_.clear();
}

// ---- RowReader ----

RowReader::RowReader(const Statement& statement, RowBytes& bytes, std::string_view table,
                     std::int64_t id)
    : statement_(statement), bytes_(bytes), table_(table), id_(id) {
  bytes_.clear();
}

void RowReader::fail(const std::string& what) const {
  throw FormatError(FormatError::Kind::kDamaged, what, placeOf(table_, id_));
}

void RowReader::require(int type) {
  if (statement_.type(column_) != type) fail("a column has another type than it should");
}

bool RowReader::isNull() {
  if (statement_.type(column_) != SQLITE_NULL) return false;
  ++column_;
  bytes_.null();
  return true;
}

std::int64_t RowReader::integer(std::int64_t least, std::int64_t most) {
  require(SQLITE_INTEGER);
  const std::int64_t number = statement_.integer(column_++);
  if (number < least || number > most)
    fail("the number " + std::to_string(number) + " is out of its range");
  bytes_.integer(number);
  return number;
}

std::optional<std::int64_t> RowReader::integerOrNull(std::int64_t least, std::int64_t most) {
  if (isNull()) return std::nullopt;
  return integer(least, most);
}

double RowReader::real() {
  if (isNull()) return std::numeric_limits<double>::quiet_NaN();
  require(SQLITE_FLOAT);
  const double number = statement_.real(column_++);
  bytes_.real(number);
  return number;
}

std::string RowReader::text() {
  require(SQLITE_TEXT);
  const std::string_view text = statement_.text(column_++);
  if (text.size() > mostTextBytes) fail("a text is longer than 1 MiB");
  if (!isUtf8(text)) fail("a text is not UTF-8");
  bytes_.text(text);
  return std::string(text);
}

std::optional<std::string> RowReader::textOrNull() {
  if (isNull()) return std::nullopt;
  return text();
}

void RowReader::end() {
  require(SQLITE_INTEGER);
  if (statement_.integer(column_) != bytes_.sum())
    fail("the row has changed since it was written: its sum differs");
}

// ---- Columns ----

namespace {

struct ClassEntry {
  const char* name;
  std::size_t size;
};

// In the order of ValueClass.
constexpr std::array<ClassEntry, 14> classes{{{"logical", 1},
                                              {"int8", 1},
                                              {"uint8", 1},
                                              {"int16", 2},
                                              {"uint16", 2},
                                              {"int32", 4},
                                              {"uint32", 4},
                                              {"int64", 8},
                                              {"uint64", 8},
                                              {"single", 4},
                                              {"double", 8},
                                              {"complex single", 8},
                                              {"complex double", 16},
                                              {"text", 0}}};

template <class Number>
std::string joined(std::span<const Number> numbers) {
  std::string list;
  for (const Number number : numbers) {
    if (!list.empty()) list += ' ';
    list += std::to_string(number);
  }
  return list;
}

// None unless the list is written as joined() writes it.
template <class Number>
std::optional<std::vector<Number>> split(std::string_view list) {
  std::vector<Number> numbers;
  const char* place = list.data();
  const char* const end = place + list.size();
  while (place != end) {
    Number number = 0;
    const auto [next, error] = std::from_chars(place, end, number);
    if (error != std::errc() || (next != end && *next != ' ')) return std::nullopt;
    numbers.push_back(number);
    place = next == end ? end : next + 1;
  }
  if (joined(std::span<const Number>(numbers)) != list) return std::nullopt;
  return numbers;
}

}  // namespace

std::size_t sizeOf(ValueClass valueClass) noexcept {
  return classes[static_cast<std::size_t>(valueClass)].size;
}

const char* nameOf(ValueClass valueClass) noexcept {
  return classes[static_cast<std::size_t>(valueClass)].name;
}

std::optional<ValueClass> classNamed(std::string_view name) noexcept {
  for (std::size_t i = 0; i < classes.size(); ++i)
    if (name == classes[i].name) return static_cast<ValueClass>(i);
  return std::nullopt;
}

std::string listOf(std::span<const std::uint64_t> numbers) { return joined(numbers); }
std::string listOf(std::span<const std::int32_t> numbers) { return joined(numbers); }

std::optional<std::vector<std::uint64_t>> extentsOf(std::string_view list) {
  return split<std::uint64_t>(list);
}

std::optional<std::vector<std::int32_t>> channelOf(std::string_view list) {
  return split<std::int32_t>(list);
}

std::optional<std::uint64_t> bytesOf(ValueClass valueClass, std::uint64_t samples,
                                     std::span<const std::uint64_t> shape) noexcept {
  constexpr std::uint64_t most = INT64_MAX;
  std::uint64_t bytes = sizeOf(valueClass);
  if (bytes == 0) return std::nullopt;
  bool isEmpty = samples == 0;
  for (const std::uint64_t extent : shape) isEmpty = isEmpty || extent == 0;
  if (isEmpty) return 0;
  const auto multiply = [&](std::uint64_t factor) {
    if (factor > most / bytes) return false;
    bytes *= factor;
    return true;
  };
  if (!multiply(samples)) return std::nullopt;
  for (const std::uint64_t extent : shape)
    if (!multiply(extent)) return std::nullopt;
  return bytes;
}

}  // namespace kvr::recording
