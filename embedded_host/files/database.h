// SQLite over an AtomicFile: connections and statements that end by themselves.
//
// Everything here throws FileFault where SQLite fails, and ntob::TOBOutOfMemoryException where it
// lacks memory.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "embedded_host/files/atomic_file.h"

namespace vormel {

// A statement. What is bound must stay where it is until the next reset.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  void bind(int place, std::int64_t number);
  void bind(int place, std::span<const std::byte> blob);
  void bindNull(int place);

  // True for a row, false at the end.
  bool step();
  void reset() noexcept { sqlite3_reset(statement_.get()); }

  std::int64_t number(int column) const noexcept {
    return sqlite3_column_int64(statement_.get(), column);
  }
  bool isBlob(int column) const noexcept {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_BLOB;
  }
  // Until the next step or reset.
  std::span<const std::byte> blob(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// Borrows the file, which it reads and writes within transactions of its own.
class Connection {
 public:
  explicit Connection(AtomicFile& file);

  Statement prepare(std::string_view sql) const { return {database_.get(), sql}; }
  void execute(const char* sql) const;

  // Drops what the open transaction, if there is one, has written.
  void rollBack() noexcept;

  std::int64_t lastInsertId() const noexcept { return sqlite3_last_insert_rowid(database_.get()); }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace vormel
