// The way HDF5 reaches the disk: a file driver that makes each change of a file whole or not at all
// and never shows the library a failed write.
//
//   committed end ->|
//   [ written before | new space, written to the disk at once ]
//         ^ pages changed since the last commit wait in memory
//
// New space means nothing to the file until pages from before refer to it. A commit writes those
// pages, which needs no further room on the disk. A rollback forgets them and cuts the new space
// off. The library gets into no state that it cannot close, since every write seems to succeed:
// failures show at the commit. Nothing is synced to the disk.
#pragma once

#include <hdf5.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace vormel {

class TransactionFile : public H5FD_t {
 public:
  // The driver's identifier in the library; below 0 if it cannot be registered.
  static hid_t driver();

  // Why the driver refused the last file that it refused; may be set beforehand. Borrowed.
  static inline const char* refusal = nullptr;

  // The open file behind a file identifier. Throws FileFault.
  static TransactionFile& of(hid_t file);

  // True if all changes since the last commit are on the disk now; otherwise they are rolled back.
  bool commit() noexcept;

  // Drops all changes since the last commit, and all further ones.
  void rollBack() noexcept;

  // False after a rollback: what the library believes of the file no longer holds.
  bool isSound() const noexcept { return isSound_; }

  // True while nobody else has changed the file's length since the last commit.
  bool isAlone() const noexcept;

  // Bytes of the file.
  haddr_t size() const noexcept { return size_; }

  // Reads bytes, changes that wait included; those beyond the end are zero.
  bool read(haddr_t address, std::size_t size, char* buffer) const noexcept;

 private:
  friend struct TransactionDriver;

  static constexpr std::size_t pageSize = 4096;
  using Page = std::vector<char>;

  explicit TransactionFile(int descriptor) : H5FD_t{}, descriptor_(descriptor) {}

  void write(haddr_t address, std::size_t size, const char* buffer);
  void writeHeld(haddr_t address, std::size_t size, const char* buffer);

  int descriptor_;
  haddr_t allocated_ = 0;      // what the library has allocated
  haddr_t committedSize_ = 0;  // of the file on the disk, at the last commit
  haddr_t size_ = 0;
  bool isSound_ = true;
  bool hasChanged_ = false;
  std::map<haddr_t, Page> heldPages_;  // by number
};

}  // namespace vormel
