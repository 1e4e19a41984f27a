// The variables of a file as rows of pieces, each with a checksum (XXH3-64). A checksum detects
// damage; it does not protect against forgery.
#pragma once

#include <cstddef>
#include <string_view>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/database.h"

namespace vormel {

// Writes the array as the variable of that name and deletes the pieces of the former one. `size` is
// measureValue(array). To be called within a transaction.
void writePieces(Connection& connection, std::string_view name, const vrArray* array,
                 std::size_t size);

// Reads the array of that name. Throws FileFault if the variable does not exist or is damaged.
OwnedArray readPieces(const Connection& connection, const AtomicFile& file, std::string_view name);

}  // namespace vormel
