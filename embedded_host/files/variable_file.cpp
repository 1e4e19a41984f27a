// libvf: variable files.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/files/file_error.h"
#include "embedded_host/files/file_format.h"
#include "embedded_host/files/open_files.h"
#include "embedded_host/files/transaction_driver.h"
#include "embedded_host/files/value_reader.h"
#include "embedded_host/files/value_writer.h"
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
  vfFile(Hdf5File opened, bool isForWriting)
      : file(std::move(opened)), isWritable(isForWriting), disk(TransactionFile::of(file.get())) {
    ++openFiles;
  }

  ~vfFile() override {
    close();
    --openFiles;
  }
  void reclaim() noexcept override { delete this; }

  // Every change has been flushed or dropped: what the library writes as it closes says nothing
  // new, and something old if another handle has changed the file since. False if the disk reports
  // a failure.
  bool close() noexcept {
    if (file.get() < 0) return true;
    const SilentHdf5 silent;
    disk.rollBack();
    return H5Fclose(file.release()) >= 0;
  }

  // Brings everything written to the disk, or nothing.
  bool flush() noexcept {
    if (H5Fflush(file.get(), H5F_SCOPE_LOCAL) < 0) disk.rollBack();
    return disk.commit();
  }

  Hdf5File file;
  bool isWritable;
  TransactionFile& disk;
};

namespace {

Hdf5File makeFile(const char* path) {
  if (unlink(path) != 0 && errno != ENOENT) throw FileFault(std::strerror(errno));
  Hdf5File file(H5Fcreate(path, H5F_ACC_EXCL, propertyLists().fileCreation.get(),
                          propertyLists().fileAccess.get()),
                "make the file");
  writeNumbers(file.get(), versionAttribute, {layoutVersion});
  return file;
}

void requireVersion(const Hdf5File& file) {
  try {
    const std::vector<std::uint64_t> version = readNumbers(file.get(), versionAttribute);
    if (version == std::vector<std::uint64_t>{layoutVersion}) return;
  } catch (const FileFault&) {
    throw FileFault("it is no variable file");
  }
  throw FileFault("it is a variable file of another version");
}

Hdf5File openFile(const char* path, bool isForWriting) {
  TransactionFile::refusal = "HDF5 cannot open it";
  const hid_t id =
      H5Fopen(path, isForWriting ? H5F_ACC_RDWR : H5F_ACC_RDONLY, propertyLists().fileAccess.get());
  if (id < 0) throw FileFault(TransactionFile::refusal);
  Hdf5File file(id, "open the file");
  requireVersion(file);
  return file;
}

std::unique_ptr<vfFile> open(const char* path, std::string_view mode) {
  if (mode == "w7.3") {
    auto file = std::make_unique<vfFile>(makeFile(path), true);
    if (!file->flush()) throw FileFault("cannot write to the file");
    return file;
  }
  if (mode == "u") return std::make_unique<vfFile>(openFile(path, true), true);
  if (mode == "r") return std::make_unique<vfFile>(openFile(path, false), false);
  throw FileFault("there is no such mode");
}

Hdf5Object makeFolder(hid_t outer, const std::string& name, std::size_t level) {
  return {H5Gcreate2(outer, name.c_str(), propertyLists().link.get(),
                     propertyLists().folders[level].get(), H5P_DEFAULT),
          "make a group"};
}

Hdf5Object openOrMakeFolder(hid_t file, const std::string& path) {
  Hdf5Object folder;
  bool isNew = false;
  for (std::size_t level = 0; level < folderLevels; ++level) {
    const hid_t outer = level == 0 ? file : folder.get();
    const std::string digit(1, path[2 * level]);
    std::optional<Hdf5Object> next;
    if (!isNew && hasMember(outer, digit)) next = openMember(outer, digit);
    isNew = !next;
    folder = isNew ? makeFolder(outer, digit, level) : std::move(*next);
  }
  return folder;
}

void putVariable(vfFile& file, const std::string& name, const vrArray* array) {
  requireStorable(array);
  if (linkName(name).size() > longestName) throw FileFault("the name is too long");
  if (!file.isWritable) throw FileFault("the file was opened to read");
  if (!file.disk.isSound()) throw FileFault("an earlier failure made the file unusable");
  if (!file.disk.isAlone()) throw FileFault("the file was changed by somebody else");
  try {
    const Hdf5Object folder = openOrMakeFolder(file.file.get(), folderOf(name));
    const std::string link = linkName(name);
    if (hasMember(folder.get(), link)) {
      require(H5Ldelete(folder.get(), link.c_str(), H5P_DEFAULT), "replace the variable");
    }
    writeVariable(folder.get(), link, array);
  } catch (...) {
    file.disk.rollBack();
    throw;
  }
  if (!file.flush()) throw FileFault("cannot write to the file");
}

OwnedArray getVariable(vfFile& file, const std::string& name) {
  if (!file.disk.isSound()) throw FileFault("an earlier failure made the file unusable");
  const std::optional<Hdf5Object> variable =
      openMember(file.file.get(), folderOf(name) + '/' + linkName(name));
  if (!variable) throw FileFault("there is no variable \"" + name + "\"");
  return readVariable(*variable, file.disk);
}

}  // namespace

vfFile* vfOpen(const char* path, const char* mode) {
  if (path == nullptr || mode == nullptr) return nullptr;
  const SilentHdf5 silent;
  try {
    return open(path, mode).release();
  } catch (const std::exception& fault) {
    setLastFileError(path, fault.what());
    return nullptr;
  }
}

int vfClose(vfFile* file) {
  if (file == nullptr) return 0;
  const std::unique_ptr<vfFile> owned(file);
  return owned->close() ? 0 : 1;
}

int vfPutVariable(vfFile* file, const char* name, const vrArray* array) {
  if (file == nullptr || name == nullptr || array == nullptr) return 1;
  const SilentHdf5 silent;
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
  const SilentHdf5 silent;
  try {
    return getVariable(*file, name).release();
  } catch (const FileFault& fault) {
    setLastFileError(fault.what());
  } catch (const HostError& fault) {
    setLastFileError(fault.what());
  }
  return nullptr;
}
