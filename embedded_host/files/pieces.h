// The variables of a file as rows: each is cut into pieces, with a sum each.
#pragma once

#include <cstddef>
#include <string_view>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/database.h"

namespace vormel {

// Writes the array, whose value has `size` bytes, as the variable of that name, and deletes the
// pieces of the one that it replaces. To be called within a transaction.
void writePieces(Connection& connection, std::string_view name, const vrArray* array,
                 std::size_t size);

// The array of that name. Throws FileFault if there is none, or it is damaged.
OwnedArray readPieces(const Connection& connection, const AtomicFile& file, std::string_view name);

}  // namespace vormel
