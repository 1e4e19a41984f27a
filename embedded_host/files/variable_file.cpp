// libvf: variable files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/files/atomic_file.h"
#include "embedded_host/files/database.h"
#include "embedded_host/files/file_error.h"
#include "embedded_host/files/file_layout.h"
#include "embedded_host/files/open_files.h"
#include "embedded_host/files/pieces.h"
#include "embedded_host/files/sole_name.h"
#include "embedded_host/files/value_format.h"
#include "embedded_host/files/value_writer.h"
#include "embedded_host/functions/claimed_directory.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/libvf.h"

using namespace vormel;

namespace vormel {
namespace {

std::size_t openFiles = 0;

}  // namespace

std::size_t openFileCount() noexcept { return openFiles; }

}  // namespace vormel

struct vfFile final : vormel::CallResource {
  explicit vfFile(AtomicFile opened) : file(std::move(opened)) { ++openFiles; }
  ~vfFile() override { --openFiles; }
  void reclaim() noexcept override { delete this; }

  // Made at first need: a file that is made and closed takes none.
  Connection& connection() {
    if (!connected) connected.emplace(file);
    return *connected;
  }

  AtomicFile file;
  std::optional<Connection> connected;
};

namespace {

// ---- Opening ----

Descriptor openPath(const char* path, int flags) {
  // Nothing waits for the other end of a pipe, and the last name of the path is no link.
  Descriptor descriptor(open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600));
  if (!descriptor) throw FileFault(std::strerror(errno));
  return descriptor;
}

void fillNewFile(AtomicFile& file) {
  try {
    const std::string empty = emptyFile();
    file.fill(empty.data(), empty.size());
  } catch (const std::system_error& error) {
    throw FileFault(error.what());
  }
}

AtomicFile makeFile(const char* path) {
  ClaimedDirectory::instance().noteFile(path);
  if (unlink(path) != 0 && errno != ENOENT) throw FileFault(std::strerror(errno));
  Descriptor descriptor = openPath(path, O_RDWR | O_CREAT | O_EXCL);
  try {
    // The umask may have taken rights of the user's own.
    if (fchmod(descriptor.number(), 0600) != 0) throw FileFault(std::strerror(errno));
    AtomicFile file(std::move(descriptor), true);
    fillNewFile(file);
    return file;
  } catch (...) {
    unlink(path);
    throw;
  }
}

void requireRegular(const Descriptor& descriptor) {
  struct stat status;
  if (fstat(descriptor.number(), &status) != 0) throw FileFault(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) throw FileFault("it is no regular file");
}

AtomicFile openFile(const char* path, bool isForWriting) {
  Descriptor descriptor = openPath(path, isForWriting ? O_RDWR : O_RDONLY);
  requireRegular(descriptor);
  AtomicFile file(std::move(descriptor), isForWriting);
  std::array<std::byte, AtomicFile::pageSize> firstPage;
  file.begin();
  file.read(0, firstPage.size(), firstPage.data());
  file.end();
  requireOurs(firstPage);
  return file;
}

AtomicFile open(const char* path, std::string_view mode) {
  if (mode == "w7.3") return makeFile(path);
  if (mode == "u") {
    giveSoleName(path);
    return openFile(path, true);
  }
  if (mode == "r") return openFile(path, false);
  throw FileFault("there is no such mode");
}

// ---- Variables ----

void putVariable(vfFile& file, std::string_view name, const vrArray* array) {
  const std::size_t size = measureValue(array);
  if (name.size() > longestName) throw FileFault("the name is too long");
  if (!file.file.isWritable()) throw FileFault("the file was opened to read");
  Connection& connection = file.connection();
  try {
    connection.execute("BEGIN IMMEDIATE");
    writePieces(connection, name, array, size);
    connection.execute("COMMIT");
  } catch (...) {
    connection.rollBack();
    throw;
  }
}

}  // namespace

vfFile* vfOpen(const char* path, const char* mode) {
  if (path == nullptr || mode == nullptr) return nullptr;
  try {
    return std::make_unique<vfFile>(open(path, mode)).release();
  } catch (const std::exception& fault) {
    setLastFileError(path, fault.what());
    return nullptr;
  }
}

// What was put is in the file already: nothing can fail.
int vfClose(vfFile* file) {
  delete file;
  return 0;
}

int vfPutVariable(vfFile* file, const char* name, const vrArray* array) {
  if (file == nullptr || name == nullptr || array == nullptr) return 1;
  try {
    putVariable(*file, name, array);
    return 0;
  } catch (const std::exception& fault) {
    setLastFileError(fault.what());
    return 1;
  }
}

vrArray* vfGetVariable(vfFile* file, const char* name) {
  if (file == nullptr || name == nullptr) return nullptr;
  try {
    return readPieces(file->connection(), file->file, name).release();
  } catch (const FileFault& fault) {
    setLastFileError(fault.what());
  } catch (const HostError& fault) {
    setLastFileError(fault.what());
  } catch (const std::system_error& fault) {
    setLastFileError(fault.what());
  }
  return nullptr;
}
