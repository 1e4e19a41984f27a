// The records of signals in a table of SQLite in memory, fetched with a prepared select of all
// columns, as text and numbers of the caller's.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/signal_input.h"

namespace bench {

class SqliteSignals {
 public:
  explicit SqliteSignals(std::int64_t count) {
    sqlite3* opened = nullptr;
    if (sqlite3_open(":memory:", &opened) != SQLITE_OK) throw std::runtime_error("cannot open");
    database_.reset(opened);
    execute(
        "create table signals(id integer primary key, run int, rootSource text, timeSource text, "
        "dataSource text, blockSource text, modelSource text, label text, timeDim int, "
        "sampleDims blob, port int, channel blob, sid text, visible int, color blob, style text, "
        "inheritsTolerance int, inheritsSync int, inFile int, hasParent int, rootDataSrc text, "
        "parent int, instance int)");
    fill(count);
    select_ = prepare("select * from signals where id = ?");
  }

  // A copy of the record. Ids count from 1.
  PlainRecord fetch(std::int32_t id) {
    sqlite3_stmt* row = select_.get();
    sqlite3_bind_int(row, 1, id);
    if (sqlite3_step(row) != SQLITE_ROW) throw std::out_of_range("id");
    PlainRecord record;
    record.id = sqlite3_column_int(row, 0);
    record.run = sqlite3_column_int(row, 1);
    record.rootSource = text(2);
    record.timeSource = text(3);
    record.dataSource = text(4);
    record.blockSource = text(5);
    record.modelSource = text(6);
    record.label = text(7);
    record.timeDim = sqlite3_column_int(row, 8);
    record.sampleDims = list<std::int32_t>(9);
    record.port = sqlite3_column_int(row, 10);
    record.channel = list<std::int32_t>(11);
    record.sid = text(12);
    record.visible = sqlite3_column_int(row, 13) != 0;
    record.color = list<double>(14);
    record.style = text(15);
    record.inheritsTolerance = sqlite3_column_int(row, 16) != 0;
    record.inheritsSync = sqlite3_column_int(row, 17) != 0;
    record.inFile = sqlite3_column_int(row, 18) != 0;
    record.hasParent = sqlite3_column_int(row, 19) != 0;
    record.rootDataSrc = text(20);
    record.parent = sqlite3_column_int(row, 21);
    record.instance = sqlite3_column_int(row, 22);
    sqlite3_reset(row);
    return record;
  }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  void execute(const char* sql) {
    if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(database_.get()));
  }

  Statement prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(database_.get()));
    return Statement(statement);
  }

  void fill(std::int64_t count) {
    execute("begin");
    const Statement insert = prepare(
        "insert into signals values(null, 1, ?1, ?2, ?3, ?4, ?5, ?6, 1, ?7, 0, x'', ?8, 0, ?9, "
        "'-', 1, 1, 0, 0, ?10, 0, 1)");
    const std::int32_t dims[] = {1};
    const double color[] = {0, 0, 0};
    for (const SignalInput& input : makeInputs(count)) {
      sqlite3_stmt* row = insert.get();
      const auto bind = [row](int place, const std::string& value) {
        sqlite3_bind_text(row, place, value.c_str(), -1, SQLITE_TRANSIENT);
      };
      bind(1, input.rootSource);
      bind(2, input.timeSource);
      bind(3, input.dataSource);
      bind(4, input.blockSource);
      bind(5, input.modelSource);
      bind(6, input.label);
      sqlite3_bind_blob(row, 7, dims, sizeof dims, SQLITE_STATIC);
      bind(8, input.sid);
      sqlite3_bind_blob(row, 9, color, sizeof color, SQLITE_STATIC);
      bind(10, input.rootDataSrc);
      if (sqlite3_step(row) != SQLITE_DONE) throw std::runtime_error("cannot insert");
      sqlite3_reset(row);
    }
    execute("commit");
  }

  std::string text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(select_.get(), column));
    return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(select_.get(), column))};
  }

  template <class T>
  std::vector<T> list(int column) const {
    const auto* items = static_cast<const T*>(sqlite3_column_blob(select_.get(), column));
    const auto bytes = static_cast<std::size_t>(sqlite3_column_bytes(select_.get(), column));
    return {items, items + bytes / sizeof(T)};
  }

  std::unique_ptr<sqlite3, Close> database_;
  Statement select_;
};

}  // namespace bench
