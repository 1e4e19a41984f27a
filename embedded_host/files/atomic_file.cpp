#include "embedded_host/files/atomic_file.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "embedded_host/files/file_status.h"

namespace vormel {
namespace {

// The end of a record, together with one byte after it that makes the length of the file odd. A
// file without a record consists of whole pages, so that no content of variables is mistaken for a
// record.
struct Footer {
  std::array<char, 8> mark;
  std::uint64_t end;    // of the pages, where the record begins
  std::uint64_t count;  // of slots
  std::uint64_t sum;    // over everything in the record before it
};
constexpr std::array<char, 8> footerMark = {'V', 'D', 'F', 'c', 'o', 'm', 'm', 't'};
constexpr std::size_t footerSize = sizeof(Footer) + 1;

// A commit of more changed pages is refused. This bounds the memory that a damaged file can make a
// reader allocate.
constexpr std::size_t maxSlots = 2048;

// Offsets of page numbers in the header of the first page. All numbers there are big-endian.
constexpr std::uint64_t pageCountOffset = 28;
constexpr std::uint64_t firstTrunkOffset = 32;
constexpr std::uint64_t freeCountOffset = 36;

// Up to this many free pages are not worth reading the free list.
constexpr std::uint32_t fewFreePages = 64;

std::uint32_t bigEndian(const std::byte* bytes) noexcept {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return number;
}

[[noreturn]] void failWithError(int error) {
  throw std::system_error(error, std::generic_category());
}

// Reads up to `size` bytes and returns their number, which is smaller at the end of the file only.
std::size_t readSome(int file, void* to, std::size_t size, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        pread(file, static_cast<char*>(to) + done, size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithError(errno);
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

void writeAll(int file, const void* bytes, std::size_t size, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = pwrite(file, static_cast<const char*>(bytes) + done, size - done,
                                 static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWithError(errno);
    if (count == 0) failWithError(EIO);
    done += static_cast<std::size_t>(count);
  }
}

bool truncateFile(int file, std::uint64_t size) noexcept {
  return ftruncate(file, static_cast<off_t>(size)) == 0;
}

}  // namespace

// ---- Transactions ----

void AtomicFile::begin() {
  const int kind = isWritable_ ? LOCK_EX : LOCK_SH;
  // A file system without such locks leaves the file unlocked.
  if (flock(descriptor_.number(), kind | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    failWithError(errno);
  try {
    readState();
  } catch (...) {
    flock(descriptor_.number(), LOCK_UN);
    throw;
  }
}

void AtomicFile::readState() {
  dropChanges();
  const std::uint64_t length = lengthOnDisk();
  isPending_ = readRecord(length);
  if (!isPending_) end_ = length;
  committedEnd_ = pageSize * std::uint64_t{headerNumber(pageCountOffset)};
  if (committedEnd_ > end_) throw FileFault("it is truncated");
  hasTrailingBytes_ = !isPending_ && committedEnd_ < end_;
  end_ = committedEnd_;
}

void AtomicFile::end() noexcept {
  if (!isPending_) dropChanges();
  flock(descriptor_.number(), LOCK_UN);
}

void AtomicFile::fill(const void* bytes, std::size_t size) {
  writeAll(descriptor_.number(), bytes, size, 0);
}

std::uint64_t AtomicFile::lengthOnDisk() const {
  struct stat status;
  if (fstat(descriptor_.number(), &status) != 0) failWithError(errno);
  return static_cast<std::uint64_t>(status.st_size);
}

std::uint64_t AtomicFile::sizeOnDisk() const {
  constexpr std::uint64_t unit = 512;
  struct stat status;
  if (fstat(descriptor_.number(), &status) != 0) failWithError(errno);
  return unit * static_cast<std::uint64_t>(status.st_blocks);
}

// Reads the record at the end of the file, if there is a valid one.
bool AtomicFile::readRecord(std::uint64_t length) {
  if (length % 8 != footerSize % 8 || length < footerSize) return false;
  const int file = descriptor_.number();
  Footer footer;
  if (readSome(file, &footer, sizeof footer, length - footerSize) != sizeof footer) return false;
  if (footer.mark != footerMark || footer.count > maxSlots || footer.end % pageSize != 0)
    return false;
  const std::size_t size = footer.count * slotSize;
  if (footer.end != length - footerSize - size) return false;
  std::vector<std::byte> slots(size + offsetof(Footer, sum));
  if (readSome(file, slots.data(), slots.size(), footer.end) != slots.size()) return false;
  if (XXH3_64bits(slots.data(), slots.size()) != footer.sum) return false;
  slots.resize(size);
  for (std::size_t offset = 0; offset < size; offset += slotSize) {
    std::uint64_t number = 0;
    std::memcpy(&number, &slots[offset], sizeof number);
    if (number >= footer.end / pageSize) return false;
    recordOffsets_[number] = offset + sizeof number;
  }
  record_ = std::move(slots);
  end_ = footer.end;
  return true;
}

std::uint32_t AtomicFile::headerNumber(std::uint64_t offset) const {
  std::byte bytes[4];
  if (!read(offset, sizeof bytes, bytes)) throw FileFault("it is truncated");
  return bigEndian(bytes);
}

void AtomicFile::dropChanges() noexcept {
  // Bytes that cannot be truncated remain after the committed end, where they have no effect.
  if (hasNewPages_) hasTrailingBytes_ = !truncateFile(descriptor_.number(), committedEnd_);
  hasNewPages_ = false;
  end_ = committedEnd_;
  record_.clear();
  recordOffsets_.clear();
  isPending_ = false;
  hasReadFreePages_ = false;
}

// ---- Reading and writing ----

bool AtomicFile::read(std::uint64_t offset, std::size_t size, void* to) const {
  if (const auto found = recordOffsets_.find(offset / pageSize); found != recordOffsets_.end()) {
    std::memcpy(to, &record_[found->second + offset % pageSize], size);
    return true;
  }
  const std::size_t there = readSome(descriptor_.number(), to, size, offset);
  std::memset(static_cast<char*>(to) + there, 0, size - there);
  return there == size;
}

void AtomicFile::write(std::uint64_t offset, const void* page) {
  prepareToWrite();
  if (offset < committedEnd_ && !isFree(offset / pageSize))
    return holdPage(offset / pageSize, page);
  hasNewPages_ = hasNewPages_ || offset >= committedEnd_;
  writeAll(descriptor_.number(), page, pageSize, offset);
  end_ = std::max(end_, offset + pageSize);
}

void AtomicFile::holdPage(std::uint64_t number, const void* page) {
  const auto found = recordOffsets_.find(number);
  if (found != recordOffsets_.end()) {
    std::memcpy(&record_[found->second], page, pageSize);
    return;
  }
  if (recordOffsets_.size() == maxSlots) failWithError(EFBIG);
  const std::size_t slot = record_.size();
  record_.resize(slot + slotSize);
  std::memcpy(&record_[slot], &number, sizeof number);
  std::memcpy(&record_[slot + sizeof number], page, pageSize);
  recordOffsets_.emplace(number, slot + sizeof number);
}

void AtomicFile::truncate(std::uint64_t size) {
  prepareToWrite();
  size = std::max(size, committedEnd_);
  if (size >= end_) return;
  if (!truncateFile(descriptor_.number(), size)) failWithError(errno);
  end_ = size;
}

// A record is appended at the end of the pages; nothing may be there.
void AtomicFile::prepareToWrite() {
  if (isPending_) applyRecord();
  if (!hasTrailingBytes_) return;
  if (!truncateFile(descriptor_.number(), end_)) failWithError(errno);
  hasTrailingBytes_ = false;
}

void AtomicFile::commit() {
  if (isPending_ || recordOffsets_.empty()) return;
  try {
    Footer footer{footerMark, end_, recordOffsets_.size(), 0};
    const std::size_t size = record_.size();
    record_.resize(size + footerSize);
    std::memcpy(&record_[size], &footer, sizeof footer);
    footer.sum = XXH3_64bits(record_.data(), size + offsetof(Footer, sum));
    std::memcpy(&record_[size], &footer, sizeof footer);
    hasNewPages_ = true;
    writeAll(descriptor_.number(), record_.data(), record_.size(), end_);
    record_.resize(size);
  } catch (...) {
    dropChanges();
    throw;
  }
  isPending_ = true;
  hasNewPages_ = false;
  committedEnd_ = end_;
  try {
    applyRecord();
  } catch (const std::system_error&) {
    // The record is valid: the next transaction reads it, and the next commit applies it.
    return;
  }
}

// Writes the pages of the record to their offsets and removes the record.
void AtomicFile::applyRecord() {
  const int file = descriptor_.number();
  for (const auto& [number, offset] : recordOffsets_) {
    writeAll(file, &record_[offset], pageSize, number * pageSize);
  }
  if (!truncateFile(file, committedEnd_)) failWithError(errno);
  dropChanges();
}

// ---- Free pages ----

// Free committed pages are written at once, like new ones. Otherwise a variable that replaces a
// large one would be held in memory as a whole.
bool AtomicFile::isFree(std::uint64_t number) {
  if (!hasReadFreePages_) {
    freePages_ =
        headerNumber(freeCountOffset) > fewFreePages ? findFreePages() : std::vector<bool>();
    hasReadFreePages_ = true;
  }
  return number < freePages_.size() && freePages_[number];
}

// The leaf pages of SQLite's free list. The trunk pages hold the numbers of the leaves and are in
// use. Stops at the first entry that is not plausible.
std::vector<bool> AtomicFile::findFreePages() const {
  constexpr std::uint32_t maxLeaves = pageSize / 4 - 2;
  const std::uint64_t pages = committedEnd_ / pageSize;
  std::vector<bool> free(pages);
  std::uint64_t left = headerNumber(freeCountOffset);
  std::uint32_t trunk = headerNumber(firstTrunkOffset);
  std::array<std::byte, pageSize> page;
  while (trunk > 1 && trunk <= pages && left > 0) {
    if (!read((trunk - 1) * pageSize, pageSize, page.data())) break;
    const std::uint32_t count = bigEndian(&page[4]);
    if (count > maxLeaves || count >= left) break;
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint32_t leaf = bigEndian(&page[8 + 4 * std::size_t{i}]);
      if (leaf > 1 && leaf <= pages) free[leaf - 1] = true;
    }
    left -= 1 + count;
    trunk = bigEndian(page.data());
  }
  return free;
}

}  // namespace vormel
