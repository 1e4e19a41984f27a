#include "recording/database.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fstream>
#include <new>
#include <sstream>

#include "recording/layout.h"
#include "recording/recording.h"

namespace kvr::recording {
namespace {

constexpr int busyMilliseconds = 10'000;

int systemErrorOf(sqlite3* database, int code) {
  const int number = database == nullptr ? 0 : sqlite3_system_errno(database);
  switch (code & 0xFF) {
    case SQLITE_FULL:
      return number != 0 ? number : ENOSPC;
    case SQLITE_READONLY:
      return number != 0 ? number : EACCES;
    case SQLITE_CANTOPEN:
      return number != 0 ? number : ENOENT;
    default:
      return number != 0 ? number : EIO;
  }
}

[[noreturn]] void throwFor(sqlite3* database, int code, const std::string& path) {
  using Kind = FormatError::Kind;
  if ((code & 0xFF) == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) throw std::bad_alloc();
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw Busy(lockHolder(path));
    case SQLITE_NOTADB:
      throw FormatError(Kind::kForeign, "is no recording file");
    case SQLITE_CORRUPT:
    case SQLITE_TOOBIG:
    case SQLITE_MISMATCH:
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
    case SQLITE_FORMAT:
      throw FormatError(Kind::kDamaged, std::string("is damaged: ") + sqlite3_errstr(code & 0xFF));
    default:
      if (code == SQLITE_IOERR_SHORT_READ || code == SQLITE_IOERR_CORRUPTFS)
        throw FormatError(Kind::kDamaged, "is damaged: it is shorter than it says");
      throw SystemError(systemErrorOf(database, code), std::generic_category());
  }
}

// The path as a URI that SQLite takes.
std::string immutableUri(const std::string& path) {
  std::string uri = "file:";
  for (const char letter : path) {
    const bool isPlain = (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
                         (letter >= '0' && letter <= '9') || letter == '/' || letter == '.';
    std::array<char, 4> escaped{};
    std::snprintf(escaped.data(), escaped.size(), "%%%02X", static_cast<unsigned char>(letter));
    uri += isPlain ? std::string(1, letter) : escaped.data();
  }
  return uri + "?immutable=1";
}

int flagsOf(Access access) {
  constexpr int common = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE;
  switch (access) {
    case Access::kRead:
      return common | SQLITE_OPEN_READONLY;
    case Access::kReadImmutable:
      return common | SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    default:
      return common | SQLITE_OPEN_READWRITE;
  }
}

void restrain(sqlite3* database) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, longestRow);
  sqlite3_limit(database, SQLITE_LIMIT_SQL_LENGTH, 10'000);
  sqlite3_limit(database, SQLITE_LIMIT_COLUMN, 100);
  sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0);
}

}  // namespace

std::string lockHolder(const std::string& path) {
  struct stat status {};
  std::string holder;
  if (stat(path.c_str(), &status) == 0) {
    // 1: POSIX  ADVISORY  WRITE 1234 08:01:5678 0 EOF
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
      std::istringstream words(line);
      std::string number, kind, mode, access, process, place;
      words >> number >> kind >> mode >> access >> process >> place;
      const std::size_t colon = place.rfind(':');
      if (access != "WRITE" || colon == std::string::npos) continue;
      if (place.substr(colon + 1) != std::to_string(status.st_ino)) continue;
      std::array<char, 32> device{};
      std::snprintf(device.data(), device.size(), "%02x:%02x", major(status.st_dev),
                    minor(status.st_dev));
      if (place.substr(0, colon) != device.data()) continue;
      std::string name;
      std::getline(std::ifstream("/proc/" + process + "/comm"), name);
      holder = "process " + process + (name.empty() ? "" : " (" + name + ")");
      break;
    }
  }
  return holder.empty() ? "another process is using it" : holder + " is writing to it";
}

// ---- Statement ----

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  const int code = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (code != SQLITE_OK) throwFor(database, code, sqlite3_db_filename(database, "main"));
  statement_.reset(statement);
}

namespace {

void requireBound(int code) {
  if (code == SQLITE_NOMEM) throw std::bad_alloc();
  if (code != SQLITE_OK) throw std::invalid_argument("the text or number is too long for the file");
}

}  // namespace

void Statement::bind(int place, std::int64_t number) {
  requireBound(sqlite3_bind_int64(statement_.get(), place, number));
}

void Statement::bind(int place, double number) {
  requireBound(sqlite3_bind_double(statement_.get(), place, number));
}

void Statement::bindNull(int place) { requireBound(sqlite3_bind_null(statement_.get(), place)); }

void Statement::bind(int place, std::string_view text) {
  // A null pointer would bind NULL.
  requireBound(sqlite3_bind_text64(statement_.get(), place, text.empty() ? "" : text.data(),
                                   text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bind(int place, std::span<const std::byte> blob) {
  const void* bytes = blob.empty() ? "" : static_cast<const void*>(blob.data());
  requireBound(sqlite3_bind_blob64(statement_.get(), place, bytes, blob.size(), SQLITE_STATIC));
}

bool Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  sqlite3* database = sqlite3_db_handle(statement_.get());
  throwFor(database, sqlite3_extended_errcode(database), sqlite3_db_filename(database, "main"));
}

void Statement::tryOnce() noexcept {
  sqlite3_step(statement_.get());
  reset();
}

std::string_view Statement::text(int column) const {
  const auto bytes = blob(column);
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::span<const std::byte> Statement::blob(int column) const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  if (bytes == nullptr) {
    sqlite3* database = sqlite3_db_handle(statement_.get());
    const int code = sqlite3_extended_errcode(database);
    if (code != SQLITE_OK && code != SQLITE_ROW)
      throwFor(database, code, sqlite3_db_filename(database, "main"));
    return {};
  }
  return {bytes, size};
}

// ---- Blob ----

Blob::Blob(sqlite3* database, const char* table, const char* column, std::int64_t id)
    : database_(database) {
  sqlite3_blob* blob = nullptr;
  const int code = sqlite3_blob_open(database, "main", table, column, id, 0, &blob);
  blob_.reset(blob);
  if (code != SQLITE_OK) fail(code);
}

void Blob::reopen(std::int64_t id) {
  if (const int code = sqlite3_blob_reopen(blob_.get(), id); code != SQLITE_OK) fail(code);
}

void Blob::read(std::span<std::byte> to) const {
  const int code = sqlite3_blob_read(blob_.get(), to.data(), static_cast<int>(to.size()), 0);
  if (code != SQLITE_OK) fail(code);
}

void Blob::fail(int code) const {
  throwFor(database_, code, sqlite3_db_filename(database_, "main"));
}

// ---- Connection ----

Connection::Connection(const std::string& path, Access access) : path_(path) {
  if (path.empty()) throw SystemError(ENOENT, std::generic_category());
  if (path.find('\0') != std::string::npos) throw std::invalid_argument("the path has a NUL");
  // SQLite takes some relative names for something else than files.
  const std::string name = path.front() == '/' ? path : "./" + path;
  const std::string opened = access == Access::kReadImmutable ? immutableUri(name) : name;
  sqlite3* database = nullptr;
  // A new file works on file systems without locks too.
  const char* const system = access == Access::kWriteNew ? "unix-none" : nullptr;
  const int code = sqlite3_open_v2(opened.c_str(), &database, flagsOf(access), system);
  database_.reset(database);
  if (database == nullptr) throw std::bad_alloc();
  if (code != SQLITE_OK) fail(code);
  restrain(database);
  sqlite3_busy_timeout(database, busyMilliseconds);
}

void Connection::execute(const char* sql) const {
  if (const int code = tryExecute(sql); code != SQLITE_OK) fail(code);
}

int Connection::tryExecute(const char* sql) const noexcept {
  return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
}

void Connection::begin() {
  if (!rollBack_.isPrepared()) rollBack_ = prepare("ROLLBACK");
  if (!begin_.isPrepared()) begin_ = prepare("BEGIN");
  const Resetting afterwards(begin_);
  begin_.step();
}

void Connection::rollBack() noexcept {
  if (sqlite3_get_autocommit(database_.get()) != 0) return;
  if (rollBack_.isPrepared()) {
    rollBack_.tryOnce();
  } else {
    tryExecute("ROLLBACK");
  }
}

sqlite3_file& Connection::file() const {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_FILE_POINTER,
                       static_cast<void*>(&file));
  if (file == nullptr || file->pMethods == nullptr) fail(SQLITE_CANTOPEN);
  return *file;
}

std::string Connection::journal() const {
  const char* name = sqlite3_db_filename(database_.get(), "main");
  return name == nullptr ? std::string() : sqlite3_filename_journal(name);
}

// SQLite takes ENOLCK, which network file systems without a lock service give, for a lock of
// another process. Its question for the lock of a writer tells the two apart.
bool Connection::canLock() const {
  sqlite3_file& opened = file();
  int isReserved = 0;
  return opened.pMethods->xCheckReservedLock(&opened, &isReserved) == SQLITE_OK;
}

bool Connection::readFile(std::uint64_t offset, std::span<std::byte> to) const {
  sqlite3_file& opened = file();
  const int code = opened.pMethods->xRead(&opened, to.data(), static_cast<int>(to.size()),
                                          static_cast<sqlite3_int64>(offset));
  if (code == SQLITE_IOERR_SHORT_READ) return false;
  if (code != SQLITE_OK) throw SystemError(errno != 0 ? errno : EIO, std::generic_category());
  return true;
}

std::uint64_t Connection::length() const {
  sqlite3_file& opened = file();
  sqlite3_int64 length = 0;
  if (const int code = opened.pMethods->xFileSize(&opened, &length); code != SQLITE_OK) fail(code);
  return static_cast<std::uint64_t>(std::max<sqlite3_int64>(length, 0));
}

bool Connection::hasMoved() const {
  int moved = 0;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, static_cast<void*>(&moved));
  return moved != 0;
}

void Connection::fail(int code) const { throwFor(database_.get(), code, path_); }

}  // namespace kvr::recording
