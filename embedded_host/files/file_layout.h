// What a variable file is to SQLite: its tables, and the first page that shows it for ours.
// docs/variable-files.md describes the layout.
#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "embedded_host/files/atomic_file.h"

namespace vormel {

// The bytes of a piece at most; a variable has as many pieces as it takes.
inline constexpr std::size_t pieceSize = std::size_t{1} << 18;

// A file without variables, which says that it is ours.
std::string emptyFile();

// Throws FileFault unless this is the first page of a variable file: that of an empty one but for
// the numbers that change with the file's content. Its schema then is known, and SQLite sees no
// other.
void requireOurs(std::span<const std::byte, AtomicFile::pageSize> firstPage);

}  // namespace vormel
