// A file of pages that changes whole or not at all, whichever write fails and whenever the process
// is killed. It serves SQLite as its file layer, and knows nothing of SQLite but the numbers in the
// first page's header.
//
//   committed end ->|
//   [ pages as committed | new pages, written at once | changes, held in memory | footer ]
//                                                      `--- the record: commits them ---'
//
// New pages mean nothing until committed pages refer to them. A commit appends the changed pages
// with a footer, puts them in their places, and cuts the record off again. Before the footer is
// written the file is as it was. From then on the record counts: whoever opens the file reads the
// changed pages out of it, and the next commit first puts them in their places. A rollback writes
// nothing. Nothing is synced to the disk: the process may die at any time, the machine may not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "embedded_host/functions/descriptor.h"

namespace vormel {

// All operations throw std::system_error if the system fails, std::bad_alloc, or FileFault for a
// file that cannot be one of pages.
class AtomicFile {
 public:
  static constexpr std::size_t pageSize = 8192;

  AtomicFile(Descriptor descriptor, bool isWritable) noexcept
      : descriptor_(std::move(descriptor)), isWritable_(isWritable) {}

  bool isWritable() const noexcept { return isWritable_; }

  // Begins a transaction: keeps other processes from changing the file, and sees what it holds now.
  void begin();

  // Ends it. What is not committed is dropped.
  void end() noexcept;

  // Makes an empty file hold the bytes.
  void fill(const void* bytes, std::size_t size);

  // ---- Within a transaction ----

  // Bytes of the file, new pages included.
  std::uint64_t size() const noexcept { return end_; }

  // Bytes that the file takes on its disk; fewer than size() if it has holes, or is compressed.
  std::uint64_t sizeOnDisk() const;

  // Reads bytes, all within the page of the first; false if the file ends before the last, which
  // then read as zeros.
  bool read(std::uint64_t offset, std::size_t size, void* to) const;

  // Writes a whole page, behind the last one too.
  void write(std::uint64_t offset, const void* page);

  // Drops new pages from there on. Committed ones stay.
  void truncate(std::uint64_t size);

  // Makes everything written count, or throws and drops it. Writing goes on afterwards.
  void commit();

 private:
  // A page in the record: its number, from 0, and its bytes.
  static constexpr std::size_t slotSize = sizeof(std::uint64_t) + pageSize;

  void look();
  std::uint64_t lengthOnDisk() const;
  bool readRecord(std::uint64_t length);
  std::uint32_t headerNumber(std::uint64_t place) const;
  void hold(std::uint64_t number, const void* page);
  void dropChanges() noexcept;
  void makeReady();
  void settle();
  bool isFree(std::uint64_t number);
  std::vector<bool> findFreePages() const;

  Descriptor descriptor_;
  bool isWritable_;
  std::uint64_t committedEnd_ = 0;
  std::uint64_t end_ = 0;
  std::vector<std::byte> record_;                // slots of the held pages
  std::map<std::uint64_t, std::size_t> places_;  // of the pages in the record, by number
  bool isPending_ = false;    // the record is on the disk and counts, its pages may not be in place
  bool isRagged_ = false;     // the disk holds bytes behind the end that mean nothing
  bool hasNewPages_ = false;  // written behind the committed end since the last commit
  bool knowsFreePages_ = false;
  std::vector<bool> freePages_;
};

}  // namespace vormel
