// SQLite over an AtomicFile: connections and statements with an owner.
//
// Every operation throws FileFault if SQLite reports a failure, and ntob::TOBOutOfMemoryException
// if memory is exhausted.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "embedded_host/files/atomic_file.h"

namespace vormel {

// A prepared statement. Bound blobs are borrowed until the next reset. Parameters count from 1,
// columns from 0.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  void bind(int parameter, std::int64_t number);
  void bind(int parameter, std::span<const std::byte> blob);
  void bindNull(int parameter);

  // True for a row, false at the end.
  bool step();
  void reset() noexcept { sqlite3_reset(statement_.get()); }

  std::int64_t number(int column) const noexcept {
    return sqlite3_column_int64(statement_.get(), column);
  }
  bool isBlob(int column) const noexcept {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_BLOB;
  }
  // Valid until the next step or reset.
  std::span<const std::byte> blob(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A connection to the database in a file. Borrows the file, which it reads and writes within
// transactions of its own.
class Connection {
 public:
  explicit Connection(AtomicFile& file);

  Statement prepare(std::string_view sql) const { return {database_.get(), sql}; }
  void execute(const char* sql) const;

  // Drops the changes of the open transaction, if there is one.
  void rollBack() noexcept;

  std::int64_t lastInsertId() const noexcept { return sqlite3_last_insert_rowid(database_.get()); }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace vormel
