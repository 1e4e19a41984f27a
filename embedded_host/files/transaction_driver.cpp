#include "embedded_host/files/transaction_driver.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string_view>

#include "embedded_host/files/file_error.h"

namespace vormel {
namespace {

constexpr haddr_t longestFile = std::numeric_limits<off_t>::max();

// Reads what there is; bytes beyond the end of the file are zero.
bool readDisk(int descriptor, haddr_t address, std::size_t size, char* buffer) noexcept {
  while (size > 0) {
    const ssize_t count = pread(descriptor, buffer, size, static_cast<off_t>(address));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) {
      std::memset(buffer, 0, size);
      return true;
    }
    buffer += count;
    address += static_cast<haddr_t>(count);
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool writeDisk(int descriptor, haddr_t address, std::size_t size, const char* buffer) noexcept {
  while (size > 0) {
    const ssize_t count = pwrite(descriptor, buffer, size, static_cast<off_t>(address));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    buffer += count;
    address += static_cast<haddr_t>(count);
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool setLength(int descriptor, haddr_t size) noexcept {
  return ftruncate(descriptor, static_cast<off_t>(size)) == 0;
}

// The length of a regular file; nothing else is a variable file.
bool findLength(int descriptor, haddr_t& size) noexcept {
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  size = static_cast<haddr_t>(status.st_size);
  return true;
}

// The library also reads older layouts, whose structure has no sums, and takes what they say on
// trust.
bool isOfThisLayout(int descriptor) noexcept {
  constexpr std::string_view start = "\x89HDF\r\n\x1a\n\2";  // the format's mark, and its version
  char found[start.size()];
  return readDisk(descriptor, 0, sizeof found, found) &&
         std::string_view(found, sizeof found) == start;
}

// New files are the user's alone and are no file that was there. Links are not followed, and
// opening a pipe does not wait.
int openDisk(const char* path, unsigned flags) noexcept {
  constexpr int always = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  if ((flags & H5F_ACC_CREAT) != 0) return open(path, always | O_RDWR | O_CREAT | O_EXCL, 0600);
  return open(path, always | ((flags & H5F_ACC_RDWR) != 0 ? O_RDWR : O_RDONLY));
}

// Null if nothing is wrong; sets the length of the file then.
const char* whyRefused(int descriptor, bool isNew, haddr_t& size) noexcept {
  if (descriptor < 0) return std::strerror(errno);
  if (!findLength(descriptor, size)) return "it is no regular file";
  return isNew || isOfThisLayout(descriptor) ? nullptr : "it is no variable file";
}

}  // namespace

bool TransactionFile::isAlone() const noexcept {
  haddr_t size = 0;
  return findLength(descriptor_, size) && size == committedSize_;
}

bool TransactionFile::commit() noexcept {
  if (!hasChanged_) return isSound_;
  bool isWritten = isSound_;
  for (auto page = heldPages_.begin(); isWritten && page != heldPages_.end(); ++page) {
    isWritten =
        writeDisk(descriptor_, page->first * pageSize, page->second.size(), page->second.data());
  }
  if (!isWritten || (size_ != allocated_ && !setLength(descriptor_, allocated_))) {
    rollBack();
    return false;
  }
  size_ = committedSize_ = allocated_;
  heldPages_.clear();
  hasChanged_ = false;
  return true;
}

void TransactionFile::rollBack() noexcept {
  if (hasChanged_ && !setLength(descriptor_, committedSize_)) {
    setLastFileError("cannot cut the file", std::strerror(errno));
  }
  size_ = committedSize_;
  heldPages_.clear();
  hasChanged_ = false;
  isSound_ = false;
}

bool TransactionFile::read(haddr_t address, std::size_t size, char* buffer) const noexcept {
  if (!readDisk(descriptor_, address, size, buffer)) return false;
  const haddr_t end = address + size;
  for (auto page = heldPages_.lower_bound(address / pageSize);
       page != heldPages_.end() && page->first * pageSize < end; ++page) {
    const haddr_t start = page->first * pageSize;
    const haddr_t first = std::max(start, address);
    const haddr_t last = std::min(start + page->second.size(), end);
    if (first >= last) continue;
    std::copy_n(page->second.data() + (first - start), last - first, buffer + (first - address));
  }
  return true;
}

void TransactionFile::write(haddr_t address, std::size_t size, const char* buffer) {
  if (!isSound_) return;
  hasChanged_ = true;
  const std::size_t held =
      address < committedSize_ ? std::min<haddr_t>(size, committedSize_ - address) : 0;
  writeHeld(address, held, buffer);
  if (held == size) return;
  if (!writeDisk(descriptor_, address + held, size - held, buffer + held)) {
    setLastFileError("cannot write to the file", std::strerror(errno));
    return rollBack();
  }
  size_ = std::max(size_, address + size);
}

void TransactionFile::writeHeld(haddr_t address, std::size_t size, const char* buffer) {
  while (size > 0) {
    const haddr_t number = address / pageSize;
    const std::size_t offset = address % pageSize;
    const std::size_t length = std::min<haddr_t>(pageSize, committedSize_ - number * pageSize);
    const std::size_t count = std::min(size, length - offset);
    const auto [page, isNew] = heldPages_.try_emplace(number);
    if (isNew) {
      page->second.resize(length);
      if (!readDisk(descriptor_, number * pageSize, length, page->second.data())) {
        setLastFileError("cannot read the file", std::strerror(errno));
        return rollBack();
      }
    }
    std::copy_n(buffer, count, page->second.data() + offset);
    address += count;
    buffer += count;
    size -= count;
  }
}

// What the library calls. Nothing may be thrown through it.
struct TransactionDriver {
  static TransactionFile& self(H5FD_t* file) { return *static_cast<TransactionFile*>(file); }
  static const TransactionFile& self(const H5FD_t* file) {
    return *static_cast<const TransactionFile*>(file);
  }

  static H5FD_t* open(const char* path, unsigned flags, hid_t /*fapl*/, haddr_t /*longest*/) {
    const int descriptor = openDisk(path, flags);
    haddr_t size = 0;
    const char* why = whyRefused(descriptor, (flags & H5F_ACC_CREAT) != 0, size);
    if (why != nullptr) {
      TransactionFile::refusal = why;
      if (descriptor >= 0) ::close(descriptor);
      return nullptr;
    }
    auto* file = new (std::nothrow) TransactionFile(descriptor);
    if (file == nullptr) {
      ::close(descriptor);
      return nullptr;
    }
    file->size_ = file->committedSize_ = size;
    return file;
  }

  static herr_t close(H5FD_t* file) {
    const std::unique_ptr<TransactionFile> owned(&self(file));
    const bool isLost = owned->isSound_ && !owned->commit();
    return ::close(owned->descriptor_) == 0 && !isLost ? 0 : -1;
  }

  static herr_t query(const H5FD_t* /*file*/, unsigned long* flags) {
    if (flags != nullptr) {
      *flags = H5FD_FEAT_AGGREGATE_METADATA | H5FD_FEAT_ACCUMULATE_METADATA |
               H5FD_FEAT_AGGREGATE_SMALLDATA;
    }
    return 0;
  }

  static haddr_t allocated(const H5FD_t* file, H5FD_mem_t /*type*/) {
    return self(file).allocated_;
  }

  static herr_t setAllocated(H5FD_t* file, H5FD_mem_t /*type*/, haddr_t end) {
    self(file).allocated_ = end;
    return 0;
  }

  static haddr_t end(const H5FD_t* file, H5FD_mem_t /*type*/) { return self(file).size_; }

  static herr_t handle(H5FD_t* file, hid_t /*fapl*/, void** result) {
    *result = &self(file);
    return 0;
  }

  static herr_t read(H5FD_t* file, H5FD_mem_t /*type*/, hid_t /*dxpl*/, haddr_t address,
                     std::size_t size, void* buffer) {
    if (address > longestFile || size > longestFile - address) return -1;
    return self(file).read(address, size, static_cast<char*>(buffer)) ? 0 : -1;
  }

  static herr_t write(H5FD_t* file, H5FD_mem_t /*type*/, hid_t /*dxpl*/, haddr_t address,
                      std::size_t size, const void* buffer) {
    if (address > longestFile || size > longestFile - address) return -1;
    try {
      self(file).write(address, size, static_cast<const char*>(buffer));
    } catch (const std::exception&) {
      self(file).rollBack();
    }
    return 0;
  }

  // The length is set by the commit.
  static herr_t truncate(H5FD_t* /*file*/, hid_t /*dxpl*/, hbool_t /*closing*/) { return 0; }
};

hid_t TransactionFile::driver() {
  static const H5FD_class_t description = [] {
    H5FD_class_t driver{};
    driver.name = "vormel_transaction";
    driver.maxaddr = longestFile;
    driver.fc_degree = H5F_CLOSE_STRONG;
    driver.open = TransactionDriver::open;
    driver.close = TransactionDriver::close;
    driver.query = TransactionDriver::query;
    driver.get_eoa = TransactionDriver::allocated;
    driver.set_eoa = TransactionDriver::setAllocated;
    driver.get_eof = TransactionDriver::end;
    driver.get_handle = TransactionDriver::handle;
    driver.read = TransactionDriver::read;
    driver.write = TransactionDriver::write;
    driver.truncate = TransactionDriver::truncate;
    const H5FD_mem_t kinds[H5FD_MEM_NTYPES] = H5FD_FLMAP_DICHOTOMY;
    std::copy_n(kinds, H5FD_MEM_NTYPES, driver.fl_map);
    return driver;
  }();
  static const hid_t identifier = H5FDregister(&description);
  return identifier;
}

TransactionFile& TransactionFile::of(hid_t file) {
  void* handle = nullptr;
  if (H5Fget_vfd_handle(file, H5P_DEFAULT, &handle) < 0) throw FileFault("cannot reach the file");
  return *static_cast<TransactionFile*>(handle);
}

}  // namespace vormel
