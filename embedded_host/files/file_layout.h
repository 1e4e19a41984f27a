// The layout of a variable file as an SQLite database: its tables, and the first page by which it
// is recognized. docs/variable-files.md describes it.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "embedded_host/files/atomic_file.h"

namespace vormel {

// The largest number of bytes of a piece. A variable consists of one or more pieces.
inline constexpr std::size_t pieceSize = std::size_t{1} << 18;

// The content of a file without variables.
std::string emptyFile();

// Throws FileFault unless this is the first page of a variable file: equal to that of an empty one
// except for the numbers that change with the content. SQLite thus never sees an unknown schema.
void requireVariableFile(std::span<const std::byte, AtomicFile::pageSize> firstPage);

}  // namespace vormel
