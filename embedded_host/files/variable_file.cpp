// libvf: variable files.
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/files/atomic_file.h"
#include "embedded_host/files/database.h"
#include "embedded_host/files/file_opening.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/files/pieces.h"
#include "embedded_host/files/value_format.h"
#include "embedded_host/files/value_writer.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/libvf.h"

using namespace vormel;

struct vfFile final : vormel::CallResource {
  explicit vfFile(AtomicFile opened) : file(std::move(opened)) {}
  void reclaim() noexcept override { delete this; }

  // Opened when it is first needed: making and closing a file takes none.
  Connection& connection() {
    if (!connected) connected.emplace(file);
    return *connected;
  }

  AtomicFile file;
  std::optional<Connection> connected;
  OpenFileCounter counter;
};

namespace {

void putVariable(vfFile& file, std::string_view name, const vrArray* array) {
  const std::size_t size = measureValue(array);
  if (name.size() > maxNameSize) throw FileFault("the name is too long");
  if (!file.file.isWritable()) throw FileFault("the file was opened for reading only");
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
    return std::make_unique<vfFile>(openVariableFile(path, mode)).release();
  } catch (const std::exception& fault) {
    setLastFileError(path, fault.what());
    return nullptr;
  }
}

// Every put is committed before it returns, so that closing cannot fail.
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
