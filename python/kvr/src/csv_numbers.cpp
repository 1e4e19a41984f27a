#include "python/kvr/src/csv_numbers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <system_error>

namespace kvr::python {
namespace {

using Kind = NumberColumn::Kind;

constexpr std::size_t kBytesBetweenQuestions = 1 << 20;  // some milliseconds
constexpr std::size_t kLongestNumber = 64;               // longer ones are left to the caller

std::string_view trimmed(std::string_view cell) {
  while (!cell.empty() && cell.front() == ' ') cell.remove_prefix(1);
  while (!cell.empty() && cell.back() == ' ') cell.remove_suffix(1);
  return cell;
}

// The number that all of the text is; nothing if it is none, or out of range.
template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || text.back() == ')') return std::nullopt;
  return number;
}

std::optional<double> realOf(std::string_view cell, char decimal) {
  if (decimal == '.') return numberOf<double>(cell);
  if (cell.size() > kLongestNumber || cell.find('.') != cell.npos) return std::nullopt;
  std::array<char, kLongestNumber> pointed{};
  std::replace_copy(cell.begin(), cell.end(), pointed.begin(), decimal, '.');
  return numberOf<double>({pointed.data(), cell.size()});
}

// Whether only digits follow an optional sign: an integer, also one of more than 64 bits.
bool isInteger(std::string_view cell) {
  if (!cell.empty() && (cell[0] == '+' || cell[0] == '-')) cell.remove_prefix(1);
  return !cell.empty() && cell.find_first_not_of("0123456789") == cell.npos;
}

void makeReal(NumberColumn& column, std::size_t rows) {
  std::transform(column.cells, column.cells + rows, column.cells, [](std::int64_t integer) {
    return std::bit_cast<std::int64_t>(static_cast<double>(integer));
  });
  column.kind = Kind::kReals;
}

void take(NumberColumn& column, std::size_t row, std::string_view cell, char decimal) {
  if (column.kind == Kind::kOther) return;
  cell = trimmed(cell);
  if (column.kind == Kind::kIntegers) {
    if (const auto integer = cell.empty() ? std::nullopt : numberOf<std::int64_t>(cell)) {
      column.cells[row] = *integer;
      return;
    }
    if (isInteger(cell)) {
      column.kind = Kind::kOther;
      return;
    }
    makeReal(column, row);
  }
  const auto real = cell.empty() ? std::numeric_limits<double>::quiet_NaN() : realOf(cell, decimal);
  if (real) {
    column.cells[row] = std::bit_cast<std::int64_t>(*real);
  } else {
    column.kind = Kind::kOther;
  }
}

}  // namespace

std::optional<std::size_t> readNumbers(std::string_view text, char delimiter, char decimal,
                                       std::span<NumberColumn> columns,
                                       const std::function<bool()>& isStopped) {
  std::size_t rows = 0;
  std::size_t sizeWhenAsked = text.size();
  while (!text.empty()) {
    if (sizeWhenAsked - text.size() >= kBytesBetweenQuestions) {
      if (isStopped()) return std::nullopt;
      sizeWhenAsked = text.size();
    }
    const std::size_t length = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    if (line.empty()) continue;
    for (std::size_t place = 0; place < columns.size(); ++place) {
      const std::size_t width = std::min(line.find(delimiter), line.size());
      const bool isLast = place + 1 == columns.size();
      if ((width == line.size()) != isLast) return std::nullopt;
      take(columns[place], rows, line.substr(0, width), decimal);
      if (!isLast) line.remove_prefix(width + 1);
    }
    ++rows;
  }
  return rows;
}

}  // namespace kvr::python
