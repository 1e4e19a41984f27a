// The first page in SQLite's file format (https://www.sqlite.org/fileformat.html): a header of 100
// bytes, then the schema table, a b-tree leaf whose cells are at the end of the page, the first
// cell last.
#include "embedded_host/files/file_layout.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "embedded_host/files/file_status.h"

namespace vormel {
namespace {

constexpr std::size_t headerSize = 100;
constexpr std::uint32_t applicationId = 0x56564446;  // "VVDF"
constexpr std::uint32_t layoutVersion = 2;
constexpr unsigned char tableLeaf = 13;
constexpr unsigned char indexLeaf = 10;

// Offsets in the header.
constexpr std::size_t changeCounterOffset = 24;  // the part that changes begins here ...
constexpr std::size_t schemaCookieOffset = 40;   // ... and ends here
constexpr std::size_t userVersionOffset = 60;
constexpr std::size_t applicationIdOffset = 68;
constexpr std::size_t validForOffset = 92;  // the change counter again, then SQLite's own version

struct Table {
  std::string_view name;
  char root;  // number of its first page
  std::string_view sql;
};

// A variable consists of `pieces` pieces from number `first` on. The sum of a piece is the checksum
// of its bytes, with a seed from the variable's name and the index of the piece.
constexpr Table tables[] = {
    {"piece", 2,
     "CREATE TABLE piece(id INTEGER PRIMARY KEY, sum INTEGER NOT NULL, bytes BLOB NOT NULL)"},
    {"variable", 3,
     "CREATE TABLE variable(name BLOB PRIMARY KEY, first INTEGER NOT NULL, "
     "pieces INTEGER NOT NULL) WITHOUT ROWID"}};

std::string bigEndian(std::uint32_t number, int width) {
  std::string bytes;
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> shift & 0xFF);
  }
  return bytes;
}

// A number below 2^14 as an SQLite varint.
std::string varint(std::size_t number) {
  std::string bytes;
  if (number >= 0x80) bytes += static_cast<char>(0x80 | number >> 7);
  return bytes + static_cast<char>(number & 0x7F);
}

std::string typeOfText(std::string_view text) { return varint(2 * text.size() + 13); }

// A row of the schema: type, name, table name, root page, SQL.
std::string schemaCell(const Table& table, std::size_t row) {
  constexpr std::string_view type = "table";
  const std::string types = typeOfText(type) + typeOfText(table.name) + typeOfText(table.name) +
                            '\1' + typeOfText(table.sql);
  std::string record = varint(1 + types.size()) + types;
  record.append(type).append(table.name).append(table.name).append(1, table.root).append(table.sql);
  return varint(record.size()) + varint(row) + record;
}

std::string header() {
  std::string bytes = "SQLite format 3";
  bytes += '\0';
  bytes += bigEndian(AtomicFile::pageSize, 2) + std::string("\1\1\0\x40\x20\x20", 6);
  bytes += bigEndian(1, 4) + bigEndian(1 + std::size(tables), 4);  // change counter, pages
  bytes += bigEndian(0, 4) + bigEndian(0, 4);                      // no free pages
  bytes += bigEndian(1, 4) + bigEndian(4, 4);                      // schema cookie, schema format
  bytes += bigEndian(0, 4) + bigEndian(0, 4) + bigEndian(1, 4);    // UTF-8
  bytes += bigEndian(layoutVersion, 4) + bigEndian(0, 4) + bigEndian(applicationId, 4);
  bytes += std::string(20, '\0') + bigEndian(1, 4) + bigEndian(3'040'001, 4);
  return bytes;
}

std::string leafHeader(unsigned char kind, std::size_t cells, std::size_t content) {
  const auto number = [](std::size_t value) {
    return bigEndian(static_cast<std::uint32_t>(value), 2);
  };
  return static_cast<char>(kind) + number(0) + number(cells) + number(content) + '\0';
}

std::string firstPage() {
  std::string pointers;
  std::string cells;
  for (const Table& table : tables) {
    cells.insert(0, schemaCell(table, 1 + static_cast<std::size_t>(&table - tables)));
    pointers += bigEndian(static_cast<std::uint32_t>(AtomicFile::pageSize - cells.size()), 2);
  }
  std::string page =
      header() + leafHeader(tableLeaf, std::size(tables), AtomicFile::pageSize - cells.size());
  page += pointers;
  page.resize(AtomicFile::pageSize - cells.size());
  return page + cells;
}

std::string emptyPage(unsigned char kind) {
  std::string page = leafHeader(kind, 0, AtomicFile::pageSize);
  page.resize(AtomicFile::pageSize);
  return page;
}

}  // namespace

std::string emptyFile() { return firstPage() + emptyPage(tableLeaf) + emptyPage(indexLeaf); }

void requireVariableFile(std::span<const std::byte, AtomicFile::pageSize> found) {
  static const std::string ours = firstPage();
  const auto differs = [&](std::size_t from, std::size_t to) {
    return std::memcmp(&found[from], &ours[from], to - from) != 0;
  };
  if (differs(0, 16) || differs(applicationIdOffset, applicationIdOffset + 4)) {
    throw FileFault("it is not a variable file");
  }
  if (differs(userVersionOffset, userVersionOffset + 4)) {
    throw FileFault("it is a variable file of another version");
  }
  if (differs(16, changeCounterOffset) || differs(schemaCookieOffset, validForOffset) ||
      differs(headerSize, AtomicFile::pageSize)) {
    throw FileFault("its tables are not those of a variable file");
  }
  if (std::memcmp(&found[changeCounterOffset], &found[validForOffset], 4) != 0) {
    throw FileFault("another program has changed it");
  }
}

}  // namespace vormel
