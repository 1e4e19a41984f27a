// Opening a recording that may be hostile, on a read-only medium, or left unfinished by a killed
// process.
#pragma once

#include <optional>
#include <string>

#include "recording/database.h"
#include "recording/layout.h"

namespace kvr::recording {

// Opens for reading, and compares the header and the schema with those of the format.
Connection openToRead(const std::string& path);

// Opens for writing and begins a transaction that keeps other writers out.
Connection openToWrite(const std::string& path);

// Keeps other processes from adding to the file at `path` while it lives. None if there is no
// recording at `path`, or if it may not be locked.
std::optional<Connection> lockOut(const std::string& path);

// The row of the table "contents", checked.
Contents readContents(const Connection& connection);

// Makes the tables in an empty file, with pages of this size.
void makeTables(const Connection& connection, std::uint32_t pageSize);

}  // namespace kvr::recording
