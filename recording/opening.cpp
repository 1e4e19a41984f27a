#include "recording/opening.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "recording/recording.h"
#include "recording/rows.h"

namespace kvr::recording {
namespace {

using Kind = FormatError::Kind;

[[noreturn]] void failWith(int number) { throw SystemError(number, std::generic_category()); }

[[noreturn]] void failUnfinished() {
  throw FormatError(Kind::kDamaged,
                    "a program was ended while it added runs to it; open it once where it can be "
                    "written");
}

void requireRegularFile(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos) throw std::invalid_argument("the path has a NUL");
  if (stat(path.c_str(), &status) != 0) failWith(errno);
  if (S_ISDIR(status.st_mode)) failWith(EISDIR);
  if (!S_ISREG(status.st_mode)) throw FormatError(Kind::kForeign, "is not a regular file");
}

std::uint32_t bigEndian(const std::byte* bytes) {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return number;
}

// Looks at the file's own header before SQLite does: a file in write-ahead mode would have SQLite
// make files beside it.
void requireOurHeader(const Connection& connection) {
  std::array<std::byte, 100> header;
  if (!connection.readFile(0, header)) {
    throw FormatError(Kind::kForeign, "is no recording file: it is too short");
  }
  if (std::memcmp(header.data(), "SQLite format 3", 16) != 0 ||
      bigEndian(&header[68]) != applicationId) {
    throw FormatError(Kind::kForeign, "is no recording file");
  }
  const std::uint32_t version = bigEndian(&header[60]);
  if (version > formatVersion) {
    throw FormatError(Kind::kNewer, "has format " + std::to_string(version) +
                                        " of recording files; this program reads up to " +
                                        std::to_string(formatVersion));
  }
  if (version == 0)
    throw FormatError(Kind::kForeign, "is no recording file: it has no format number");
  if (bigEndian(&header[56]) != 1)
    throw FormatError(Kind::kForeign, "is no recording file: its texts are not UTF-8");
  if (header[18] != std::byte{1} || header[19] != std::byte{1})
    throw FormatError(Kind::kForeign, "is no recording file: it is in another journal mode");
}

void requireOurSchema(const Connection& connection) {
  Statement entries = connection.prepare("SELECT type,name,sql FROM sqlite_schema ORDER BY rowid");
  const auto isOurs = [&](const SchemaEntry& entry) {
    return entries.step() && entries.text(0) == "table" && entries.text(1) == entry.name &&
           entries.text(2) == entry.sql;
  };
  if (!std::all_of(schema.begin(), schema.end(), isOurs) || entries.step())
    throw FormatError(Kind::kForeign, "has other tables than a recording file");
}

bool isEmptyOrMissing(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) != 0 || status.st_size == 0;
}

// SQLite ends a transaction that a killed process left by playing its journal, and deletes the file
// that the end of a journal names: of its own journals none names one.
void requireOwnJournal(const std::string& journal) {
  constexpr std::array<unsigned char, 8> mark{0xd9, 0xd5, 0x05, 0xf9, 0x20, 0xa1, 0x63, 0xd7};
  const int file = open(journal.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (file < 0) {
    if (errno == ENOENT) return;
    failWith(errno);
  }
  struct stat status {};
  std::array<unsigned char, 8> end{};
  const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  const bool isRead = isFile && status.st_size > 512 &&
                      pread(file, end.data(), end.size(), status.st_size - 8) == 8;
  close(file);
  if (!isFile || (isRead && end == mark))
    throw FormatError(Kind::kForeign, "has a journal beside it that no recording has; remove it",
                      journal);
}

bool isOnReadOnlyMedium(const std::string& path) {
  struct statvfs status {};
  return statvfs(path.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

// An existing file, with the right to write and with locks.
Connection openToChange(const std::string& path) {
  Connection connection(path, Access::kWrite);
  if (connection.isReadOnly()) failWith(isOnReadOnlyMedium(path) ? EROFS : EACCES);
  if (!connection.canLock()) failWith(ENOLCK);
  return connection;
}

// Restores the file if a killed process left a journal.
void recover(const std::string& path, const std::string& journal) {
  requireOwnJournal(journal);
  try {
    Connection connection = openToChange(path);
    requireOurHeader(connection);
    connection.execute("BEGIN IMMEDIATE");
    connection.rollBack();
  } catch (const SystemError&) {
    failUnfinished();
  }
}

bool cannotLock(int code) {
  return code == SQLITE_IOERR_RDLOCK || code == SQLITE_IOERR_LOCK || code == SQLITE_IOERR_UNLOCK ||
         code == SQLITE_IOERR_CHECKRESERVEDLOCK || code == SQLITE_PROTOCOL;
}

// Large values pass through SQLite's cache page by page: a cache of 1 MB stays in the processor's.
int startReading(const Connection& connection) {
  requireOurHeader(connection);
  return connection.tryExecute(
      "PRAGMA cache_size=-1000;PRAGMA cell_size_check=ON;SELECT count(*) FROM sqlite_schema");
}

Connection openImmutable(const std::string& path) {
  Connection connection(path, Access::kReadImmutable);
  if (!isEmptyOrMissing(connection.journal())) failUnfinished();
  if (const int code = startReading(connection); code != SQLITE_OK) connection.fail(code);
  return connection;
}

}  // namespace

Connection openToRead(const std::string& path) {
  requireRegularFile(path);
  Connection connection(path, Access::kRead);
  if (isOnReadOnlyMedium(path) || !connection.canLock()) {
    connection = openImmutable(path);
    requireOurSchema(connection);
    return connection;
  }
  int code = startReading(connection);
  if (code == SQLITE_READONLY_ROLLBACK || (code & 0xFF) == SQLITE_CANTOPEN) {
    recover(path, connection.journal());
    code = startReading(connection);
  }
  if (cannotLock(code)) {
    connection = openImmutable(path);
  } else if (code != SQLITE_OK) {
    connection.fail(code);
  }
  {
    const Snapshot snapshot(connection);
    requireOurSchema(connection);
  }
  return connection;
}

Connection openToWrite(const std::string& path) {
  requireRegularFile(path);
  for (;;) {
    Connection connection = openToChange(path);
    requireOwnJournal(connection.journal());
    requireOurHeader(connection);
    // The folder is synced as well when the journal is removed.
    connection.execute(
        "PRAGMA cell_size_check=ON;PRAGMA synchronous=EXTRA;PRAGMA temp_store=MEMORY");
    connection.execute("BEGIN IMMEDIATE");
    // Whoever replaces the file locks it meanwhile: from here on it is the file of this name.
    if (connection.hasMoved()) continue;
    requireOurSchema(connection);
    return connection;
  }
}

std::optional<Connection> lockOut(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  for (;;) {
    try {
      Connection connection = openToChange(path);
      requireOwnJournal(connection.journal());
      requireOurHeader(connection);
      connection.execute("BEGIN IMMEDIATE");
      if (connection.hasMoved()) {
        if (access(path.c_str(), F_OK) != 0) return std::nullopt;
        continue;
      }
      return connection;
    } catch (const FormatError&) {
      return std::nullopt;  // no process can add to it
    } catch (const SystemError&) {
      return std::nullopt;
    }
  }
}

Contents readContents(const Connection& connection) {
  Statement statement = connection.prepare(
      "SELECT runs,signals,tolerances,syncs,hierarchy,time_bases,pieces,sum FROM contents");
  if (!statement.step()) throw FormatError(Kind::kDamaged, "lacks its table of contents");
  RowBytes bytes;
  RowReader row(statement, bytes, "contents", 1);
  Contents contents;
  for (std::int64_t* count :
       {&contents.runs, &contents.signals, &contents.tolerances, &contents.syncs,
        &contents.hierarchy, &contents.timeBases, &contents.pieces})
    *count = row.integer(0, INT64_MAX / 2);
  row.end();
  if (statement.step()) throw FormatError(Kind::kDamaged, "has two tables of contents");
  return contents;
}

// The journal of a new file stays empty in memory; a defensive connection cannot do without one.
void makeTables(const Connection& connection, std::uint32_t pageSize) {
  connection.execute(("PRAGMA page_size=" + std::to_string(pageSize)).c_str());
  connection.execute(
      "PRAGMA encoding='UTF-8';PRAGMA journal_mode=MEMORY;PRAGMA synchronous=OFF;"
      "PRAGMA locking_mode=EXCLUSIVE;PRAGMA temp_store=MEMORY;PRAGMA auto_vacuum=NONE");
  connection.execute("BEGIN");
  connection.execute(("PRAGMA application_id=" + std::to_string(applicationId)).c_str());
  connection.execute(("PRAGMA user_version=" + std::to_string(formatVersion)).c_str());
  for (const SchemaEntry& entry : schema) connection.execute(std::string(entry.sql).c_str());
}

}  // namespace kvr::recording
