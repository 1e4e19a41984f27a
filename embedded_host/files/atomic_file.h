// A file of pages with atomic commits: a commit takes effect completely or not at all, whichever
// write fails and whenever the process is killed. It is the file layer of SQLite, but depends on
// nothing of SQLite except the page numbers in the header of the first page.
//
//   committed end ->|
//   [ pages as committed | new pages, written at once | changed pages, from memory | footer ]
//                                                      `--- the record, which a commit writes ---'
//
// New pages have no effect until committed pages refer to them. A commit appends the record, which
// is the changed pages and a footer, writes the changed pages to their offsets, and truncates the
// file before the record. Until the footer is written the file has its former content. After that
// the record is valid: whoever opens the file reads the changed pages from it, and the next commit
// first writes them to their offsets. A rollback writes nothing. Nothing is synced to the disk: the
// file survives a killed process, but need not survive a crash of the machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

// All operations throw std::system_error if a system call fails, std::bad_alloc, and FileFault for
// a file that does not consist of pages.
class AtomicFile {
 public:
  static constexpr std::size_t pageSize = 8192;

  AtomicFile(Descriptor descriptor, bool isWritable) noexcept
      : descriptor_(std::move(descriptor)), isWritable_(isWritable) {}

  bool isWritable() const noexcept { return isWritable_; }

  // Begins a transaction: locks the file against changes by other processes and reads its state.
  void begin();

  // Ends the transaction and drops changes that are not committed.
  void end() noexcept;

  // Writes the first content of an empty file.
  void fill(const void* bytes, std::size_t size);

  // ---- Within a transaction ----

  // Bytes of the file, new pages included.
  std::uint64_t size() const noexcept { return end_; }

  // Bytes that the file occupies on the disk: fewer than size() if it has holes or is compressed.
  std::uint64_t sizeOnDisk() const;

  // Reads bytes that lie within one page. False if the file ends before the last one; the missing
  // bytes read as zeros.
  bool read(std::uint64_t offset, std::size_t size, void* to) const;

  // Writes a whole page, which may be a new one after the last.
  void write(std::uint64_t offset, const void* page);

  // Drops the new pages from that size on. Committed pages remain.
  void truncate(std::uint64_t size);

  // Commits everything that was written, or throws and drops it. Writing may continue afterwards.
  void commit();

 private:
  // A page in the record: its number, from 0, and its bytes.
  static constexpr std::size_t slotSize = sizeof(std::uint64_t) + pageSize;

  void readState();
  std::uint64_t lengthOnDisk() const;
  bool readRecord(std::uint64_t length);
  std::uint32_t headerNumber(std::uint64_t offset) const;
  void holdPage(std::uint64_t number, const void* page);
  void dropChanges() noexcept;
  void prepareToWrite();
  void applyRecord();
  bool isFree(std::uint64_t number);
  std::vector<bool> findFreePages() const;

  Descriptor descriptor_;
  bool isWritable_;
  std::uint64_t committedEnd_ = 0;
  std::uint64_t end_ = 0;
  std::vector<std::byte> record_;                       // slots of the changed pages
  std::map<std::uint64_t, std::size_t> recordOffsets_;  // of the pages in record_, by page number
  bool isPending_ = false;         // a valid record is on the disk whose pages are not all applied
  bool hasTrailingBytes_ = false;  // the disk holds bytes after the end that have no effect
  bool hasNewPages_ = false;       // written after the committed end since the last commit
  bool hasReadFreePages_ = false;
  std::vector<bool> freePages_;
};

}  // namespace vormel
