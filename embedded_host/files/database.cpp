#include "embedded_host/files/database.h"

#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "embedded_host/files/file_layout.h"
#include "embedded_host/files/file_status.h"
#include "kvrntob/host/ntob.h"

namespace vormel {
namespace {

// ---- The file layer of SQLite: an AtomicFile in place of a path ----

struct LayeredFile : sqlite3_file {
  AtomicFile* file;
};

AtomicFile& fileOf(sqlite3_file* file) { return *static_cast<LayeredFile*>(file)->file; }

// Runs an operation on the file and returns the code for SQLite: `failure` if a system call fails.
template <class Body>
int guarded(int failure, const Body& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return SQLITE_IOERR_NOMEM;
  } catch (const std::system_error& error) {
    const int number = error.code().value();
    const bool isFull = number == ENOSPC || number == EDQUOT || number == EFBIG;
    if (number == EWOULDBLOCK) return SQLITE_BUSY;
    return isFull ? SQLITE_FULL : failure;
  } catch (const std::exception&) {
    return SQLITE_CORRUPT;
  }
}

int closeFile(sqlite3_file*) { return SQLITE_OK; }

int readFile(sqlite3_file* file, void* to, int size, sqlite3_int64 offset) {
  return guarded(SQLITE_IOERR_READ, [&] {
    const bool isWhole =
        fileOf(file).read(static_cast<std::uint64_t>(offset), static_cast<std::size_t>(size), to);
    return isWhole ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
  });
}

// SQLite writes whole pages at multiples of the page size.
int writeFile(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
  return guarded(SQLITE_IOERR_WRITE, [&] {
    if (size != AtomicFile::pageSize || offset % size != 0) return SQLITE_IOERR_WRITE;
    fileOf(file).write(static_cast<std::uint64_t>(offset), bytes);
    return SQLITE_OK;
  });
}

int truncateFile(sqlite3_file* file, sqlite3_int64 size) {
  return guarded(SQLITE_IOERR_TRUNCATE, [&] {
    fileOf(file).truncate(static_cast<std::uint64_t>(size));
    return SQLITE_OK;
  });
}

int syncFile(sqlite3_file*, int) { return SQLITE_OK; }

int sizeOfFile(sqlite3_file* file, sqlite3_int64* size) {
  *size = static_cast<sqlite3_int64>(fileOf(file).size());
  return SQLITE_OK;
}

int lockFile(sqlite3_file* file, int level) {
  if (level != SQLITE_LOCK_SHARED) return SQLITE_OK;  // one lock lasts for the transaction
  return guarded(SQLITE_IOERR_LOCK, [&] {
    fileOf(file).begin();
    return SQLITE_OK;
  });
}

int unlockFile(sqlite3_file* file, int level) {
  if (level == SQLITE_LOCK_NONE) fileOf(file).end();
  return SQLITE_OK;
}

int isReserved(sqlite3_file*, int* answer) {
  *answer = 0;
  return SQLITE_OK;
}

// SQLite announces with SQLITE_FCNTL_SYNC that it has written all pages of a transaction.
int controlFile(sqlite3_file* file, int operation, void*) {
  if (operation != SQLITE_FCNTL_SYNC) return SQLITE_NOTFOUND;
  return guarded(SQLITE_IOERR_WRITE, [&] {
    fileOf(file).commit();
    return SQLITE_OK;
  });
}

int sectorSize(sqlite3_file*) { return AtomicFile::pageSize; }

int characteristics(sqlite3_file*) { return 0; }

constexpr sqlite3_io_methods fileMethods = {
    1,        closeFile,  readFile,   writeFile,   truncateFile, syncFile,        sizeOfFile,
    lockFile, unlockFile, isReserved, controlFile, sectorSize,   characteristics, nullptr,
    nullptr,  nullptr,    nullptr,    nullptr,     nullptr};

// The file that the next call of openFile opens.
AtomicFile* fileToOpen = nullptr;

// Called for the database only; journals and temporary files are in memory.
int openFile(sqlite3_vfs*, const char*, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  if (fileToOpen == nullptr || (flags & SQLITE_OPEN_MAIN_DB) == 0) return SQLITE_CANTOPEN;
  static_cast<LayeredFile*>(file)->file = std::exchange(fileToOpen, nullptr);
  file->pMethods = &fileMethods;
  if (outFlags != nullptr) *outFlags = flags;
  return SQLITE_OK;
}

int deleteFile(sqlite3_vfs*, const char*, int) { return SQLITE_IOERR_DELETE; }

// Reports that no journal exists, even if there is a file of that name.
int fileExists(sqlite3_vfs*, const char*, int, int* answer) {
  *answer = 0;
  return SQLITE_OK;
}

int keepName(sqlite3_vfs*, const char* name, int size, char* full) {
  sqlite3_snprintf(size, full, "%s", name);
  return SQLITE_OK;
}

int fillRandom(sqlite3_vfs*, int, char*) { return 0; }

int sleepMicroseconds(sqlite3_vfs*, int) { return 0; }

int currentTime(sqlite3_vfs*, double* now) {
  *now = 0;
  return SQLITE_OK;
}

constexpr const char* layerName = "vormel_variable_file";
constexpr int maxLayerName = 64;

sqlite3_vfs layer = {
    1,          sizeof(LayeredFile), maxLayerName, nullptr, layerName, nullptr, openFile,
    deleteFile, fileExists,          keepName,     nullptr, nullptr,   nullptr, nullptr,
    fillRandom, sleepMicroseconds,   currentTime,  nullptr, nullptr,   nullptr, nullptr,
    nullptr};

// ---- Failures ----

[[noreturn]] void failWith(int code) {
  const int kind = code & 0xFF;
  if (kind == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) throw ntob::TOBOutOfMemoryException();
  throw FileFault(sqlite3_errstr(kind));
}

void require(int code) {
  if (code != SQLITE_OK) failWith(code);
}

// A row is a piece with its numbers, or the name of a variable with two numbers.
constexpr int maxRowSize = static_cast<int>(pieceSize) + (1 << 16);

// Settings against hostile files: no schema tricks, no long rows, no other files.
void hardenAgainstFile(sqlite3* database) {
  require(sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr));
  require(sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr));
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, maxRowSize);
  sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0);
}

}  // namespace

// ---- Statement ----

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* statement = nullptr;
  require(
      sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
  statement_.reset(statement);
}

void Statement::bind(int parameter, std::int64_t number) {
  require(sqlite3_bind_int64(statement_.get(), parameter, number));
}

void Statement::bind(int parameter, std::span<const std::byte> blob) {
  // A null pointer would bind NULL.
  const void* bytes = blob.empty() ? "" : static_cast<const void*>(blob.data());
  require(sqlite3_bind_blob64(statement_.get(), parameter, bytes, blob.size(), SQLITE_STATIC));
}

void Statement::bindNull(int parameter) { require(sqlite3_bind_null(statement_.get(), parameter)); }

bool Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  failWith(sqlite3_extended_errcode(sqlite3_db_handle(statement_.get())));
}

std::span<const std::byte> Statement::blob(int column) const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  if (bytes == nullptr && sqlite3_errcode(sqlite3_db_handle(statement_.get())) == SQLITE_NOMEM) {
    throw ntob::TOBOutOfMemoryException();
  }
  return {bytes, bytes == nullptr ? 0 : size};
}

// ---- Connection ----

Connection::Connection(AtomicFile& file) {
  if (sqlite3_vfs_find(layerName) == nullptr) require(sqlite3_vfs_register(&layer, 0));
  fileToOpen = &file;
  const int access = file.isWritable() ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
  sqlite3* database = nullptr;
  const int code = sqlite3_open_v2(
      "variables", &database, access | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, layerName);
  fileToOpen = nullptr;
  database_.reset(database);
  require(code);
  require(sqlite3_extended_result_codes(database, 1));
  hardenAgainstFile(database);
  execute("PRAGMA cell_size_check=ON");
  if (file.isWritable()) execute("PRAGMA journal_mode=MEMORY");
}

void Connection::execute(const char* sql) const {
  require(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr));
}

void Connection::rollBack() noexcept {
  if (sqlite3_get_autocommit(database_.get()) != 0) return;
  sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace vormel
