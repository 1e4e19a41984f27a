// Opening a recording as what it may be: the work of somebody hostile, on a medium that cannot be
// written, or left by a process that was killed.
#pragma once

#include <optional>
#include <string>

#include "recording/database.h"
#include "recording/layout.h"

namespace kvr::recording {

// Opens for reading. Reads the header and the schema, and compares them with ours.
Connection openToRead(const std::string& path);

// Opens for writing and begins a transaction that keeps other writers out.
Connection openToWrite(const std::string& path);

// Keeps others from adding to the file at `path`, until its end. None if there is no file that a
// recording could be added to, or if we may not lock it.
std::optional<Connection> lockOut(const std::string& path);

// The row of the table "contents", checked.
Contents readContents(const Connection& connection);

// Makes the tables in an empty file, with pages of this size.
void makeTables(const Connection& connection, std::uint32_t pageSize);

}  // namespace kvr::recording
