// The tables of a recording file, and its limits. docs/recording-files.md defines their meaning.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kvr::recording {

inline constexpr std::uint32_t applicationId = 0x4B565252;  // "KVRR"
inline constexpr std::uint32_t formatVersion = 1;

// Bytes are cut into pieces of this size; the last one of a row of pieces may be shorter.
inline constexpr std::size_t pieceSize = std::size_t{1} << 20;
inline constexpr std::size_t mostTextBytes = std::size_t{1} << 20;  // of a row
inline constexpr int longestRow = (1 << 21) + (1 << 16);            // as SQLite counts it
inline constexpr std::size_t mostDimensions = 32;

struct SchemaEntry {
  std::string_view name;
  std::string_view sql;
};

// In the order of the file. The last column of each table is the sum of the cells before it; of a
// piece that of its bytes.
inline constexpr std::array<SchemaEntry, 8> schema{{
    {"contents",
     "CREATE TABLE contents(runs INTEGER NOT NULL, signals INTEGER NOT NULL, "
     "tolerances INTEGER NOT NULL, syncs INTEGER NOT NULL, hierarchy INTEGER NOT NULL, "
     "time_bases INTEGER NOT NULL, pieces INTEGER NOT NULL, sum INTEGER NOT NULL)"},
    {"run",
     "CREATE TABLE run(id INTEGER PRIMARY KEY, name TEXT NOT NULL, version TEXT NOT NULL, "
     "created INTEGER NOT NULL, instance INTEGER, tolerance INTEGER NOT NULL, "
     "sync INTEGER NOT NULL, first_signal INTEGER NOT NULL, signals INTEGER NOT NULL, "
     "sum INTEGER NOT NULL)"},
    {"signal",
     "CREATE TABLE signal(id INTEGER PRIMARY KEY, run INTEGER NOT NULL, label TEXT NOT NULL, "
     "path TEXT NOT NULL, model TEXT NOT NULL, source TEXT NOT NULL, root_source TEXT NOT NULL, "
     "time_source TEXT NOT NULL, sid TEXT NOT NULL, port INTEGER NOT NULL, channel TEXT NOT NULL, "
     "unit TEXT, red REAL, green REAL, blue REAL, dash TEXT NOT NULL, visible INTEGER NOT NULL, "
     "tolerance INTEGER, sync INTEGER, class TEXT NOT NULL, samples INTEGER NOT NULL, "
     "shape TEXT NOT NULL, time_base INTEGER NOT NULL, bytes INTEGER NOT NULL, "
     "first_piece INTEGER NOT NULL, metadata_bytes INTEGER NOT NULL, "
     "metadata_first_piece INTEGER NOT NULL, sum INTEGER NOT NULL)"},
    {"tolerance",
     "CREATE TABLE tolerance(id INTEGER PRIMARY KEY, type INTEGER NOT NULL, absolute REAL, "
     "relative REAL, start REAL, \"end\" REAL, step REAL, initial_absolute REAL, "
     "absolute_step REAL, initial_relative REAL, relative_step REAL, function TEXT NOT NULL, "
     "sum INTEGER NOT NULL)"},
    {"sync",
     "CREATE TABLE sync(id INTEGER PRIMARY KEY, type INTEGER NOT NULL, method TEXT NOT NULL, "
     "interp TEXT NOT NULL, interval REAL, function TEXT NOT NULL, sum INTEGER NOT NULL)"},
    {"hierarchy",
     "CREATE TABLE hierarchy(signal INTEGER PRIMARY KEY, parent INTEGER NOT NULL, "
     "sum INTEGER NOT NULL)"},
    {"time_base",
     "CREATE TABLE time_base(id INTEGER PRIMARY KEY, class TEXT NOT NULL, "
     "samples INTEGER NOT NULL, first_piece INTEGER NOT NULL, hash INTEGER NOT NULL, "
     "sum INTEGER NOT NULL)"},
    {"piece",
     "CREATE TABLE piece(id INTEGER PRIMARY KEY, sum INTEGER NOT NULL, bytes BLOB NOT NULL)"},
}};

// What the file holds, by its own count: ids run from 1 to these.
struct Contents {
  std::int64_t runs = 0;
  std::int64_t signals = 0;
  std::int64_t tolerances = 0;
  std::int64_t syncs = 0;
  std::int64_t hierarchy = 0;  // rows
  std::int64_t timeBases = 0;
  std::int64_t pieces = 0;
};

}  // namespace kvr::recording
