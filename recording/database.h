// SQLite as this library uses it: connections and statements that close themselves, and failures as
// exceptions of recording.h.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace kvr::recording {

enum class Access : std::uint8_t {
  kRead,
  kReadImmutable,  // no locks, no journal: for files that cannot change
  kWrite,          // an existing file
  kWriteNew,       // an empty file of this process alone: no locks, no journal
};

// Text that names the process with a lock on the file, as far as it can be found.
std::string lockHolder(const std::string& path);

class Statement {
 public:
  Statement() = default;
  Statement(sqlite3* database, std::string_view sql);

  void bind(int place, std::int64_t number);
  void bind(int place, double number);
  void bindNull(int place);
  // These must stay where they are until the next reset.
  void bind(int place, std::string_view text);
  void bind(int place, std::span<const std::byte> blob);

  bool isPrepared() const noexcept { return statement_ != nullptr; }
  // True for a row, false at the end.
  bool step();
  // For a statement without rows: takes a step and resets, and ignores how it went.
  void tryOnce() noexcept;
  void reset() noexcept { sqlite3_reset(statement_.get()); }

  int type(int column) const noexcept { return sqlite3_column_type(statement_.get(), column); }
  std::int64_t integer(int column) const noexcept {
    return sqlite3_column_int64(statement_.get(), column);
  }
  double real(int column) const noexcept { return sqlite3_column_double(statement_.get(), column); }
  // Until the next step or reset.
  std::string_view text(int column) const;
  std::span<const std::byte> blob(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A blob of a table, read straight into the caller's memory: a statement's column is a copy.
class Blob {
 public:
  // Opens the blob of the row `id`, which must be there. Keeps the transaction open while it lives.
  Blob(sqlite3* database, const char* table, const char* column, std::int64_t id);

  // Goes on to another row of the table.
  void reopen(std::int64_t id);
  std::size_t size() const noexcept {
    return static_cast<std::size_t>(sqlite3_blob_bytes(blob_.get()));
  }
  // Fills `to` from its first byte on; it must not be longer than the blob.
  void read(std::span<std::byte> to) const;

 private:
  struct Close {
    void operator()(sqlite3_blob* blob) const { sqlite3_blob_close(blob); }
  };
  [[noreturn]] void fail(int code) const;

  sqlite3* database_;
  std::unique_ptr<sqlite3_blob, Close> blob_;
};

class Connection {
 public:
  // Opens the file with defensive settings. Reads nothing from it.
  Connection(const std::string& path, Access access);

  Statement prepare(std::string_view sql) const { return {database_.get(), sql}; }
  Blob openBlob(const char* table, const char* column, std::int64_t id) const {
    return {database_.get(), table, column, id};
  }
  void execute(const char* sql) const;
  // The same, but returns SQLite's extended code.
  int tryExecute(const char* sql) const noexcept;
  // Begins a transaction for reading, with all that its end needs: memory may run out in it.
  void begin();
  void rollBack() noexcept;

  // The file that SQLite takes for the journal of an unfinished transaction: beside the file that a
  // symbolic link leads to, not beside the link.
  std::string journal() const;
  // Whether SQLite opened the file for reading only, as it does where writing is not allowed.
  bool isReadOnly() const { return sqlite3_db_readonly(database_.get(), "main") != 0; }
  // Whether the file system has locks.
  bool canLock() const;
  // Raw bytes of the file. False if it ends before.
  bool readFile(std::uint64_t offset, std::span<std::byte> to) const;
  std::uint64_t length() const;
  // Whether the path now leads to another file, or to none.
  bool hasMoved() const;

  // Throws the exception for SQLite's code.
  [[noreturn]] void fail(int code) const;

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  sqlite3_file& file() const;

  std::string path_;
  std::unique_ptr<sqlite3, Close> database_;
  Statement begin_;
  Statement rollBack_;
};

// A transaction for reading: all statements in its life see the same state of the file.
class Snapshot {
 public:
  explicit Snapshot(Connection& connection) : connection_(connection) { connection_.begin(); }
  ~Snapshot() { connection_.rollBack(); }
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

 private:
  Connection& connection_;
};

// Resets a statement at the end of a scope, also after an exception: a statement that is not reset
// keeps its transaction open.
class Resetting {
 public:
  explicit Resetting(Statement& statement) noexcept : statement_(statement) {}
  ~Resetting() { statement_.reset(); }
  Resetting(const Resetting&) = delete;
  Resetting& operator=(const Resetting&) = delete;

 private:
  Statement& statement_;
};

}  // namespace kvr::recording
