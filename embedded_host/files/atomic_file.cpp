#include "embedded_host/files/atomic_file.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "embedded_host/files/file_error.h"
#include "embedded_host/files/sum.h"

namespace vormel {
namespace {

// What ends a record. The byte after it makes the length of the file odd: no file at rest, which
// is whole pages, is taken for one with a record, whatever its variables hold.
struct Footer {
  std::array<char, 8> mark;
  std::uint64_t end;    // of the pages, where the record begins
  std::uint64_t count;  // of slots
  std::uint64_t sum;    // over everything in the record before it
};
constexpr std::array<char, 8> footerMark = {'V', 'D', 'F', 'c', 'o', 'm', 'm', 't'};
constexpr std::size_t footerSize = sizeof(Footer) + 1;

// A commit of more changed pages is refused: so much memory a damaged file can make a reader take.
constexpr std::size_t mostSlots = 2048;

// Where the header in the first page tells of pages. All numbers there are big-endian.
constexpr std::uint64_t pageCountPlace = 28;
constexpr std::uint64_t firstTrunkPlace = 32;
constexpr std::uint64_t freeCountPlace = 36;

// So many free pages are not worth looking for.
constexpr std::uint32_t fewFreePages = 64;

std::uint32_t bigEndian(const std::byte* bytes) noexcept {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = number << 8 | std::to_integer<std::uint32_t>(bytes[i]);
  return number;
}

[[noreturn]] void failWith(int error) { throw std::system_error(error, std::generic_category()); }

// Reads what there is of the bytes; returns how many.
std::size_t readSome(int file, void* to, std::size_t size, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count =
        pread(file, static_cast<char*>(to) + done, size - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) failWith(errno);
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
    if (count < 0) failWith(errno);
    if (count == 0) failWith(EIO);
    done += static_cast<std::size_t>(count);
  }
}

bool cut(int file, std::uint64_t size) noexcept {
  return ftruncate(file, static_cast<off_t>(size)) == 0;
}

}  // namespace

// ---- Transactions ----

void AtomicFile::begin() {
  const int kind = isWritable_ ? LOCK_EX : LOCK_SH;
  // Where the system knows no such locks, the file goes without.
  if (flock(descriptor_.number(), kind | LOCK_NB) != 0 && errno == EWOULDBLOCK) failWith(errno);
  try {
    look();
  } catch (...) {
    flock(descriptor_.number(), LOCK_UN);
    throw;
  }
}

// Sees what the file holds.
void AtomicFile::look() {
  dropChanges();
  const std::uint64_t length = lengthOnDisk();
  isPending_ = readRecord(length);
  if (!isPending_) end_ = length;
  committedEnd_ = pageSize * std::uint64_t{headerNumber(pageCountPlace)};
  if (committedEnd_ > end_) throw FileFault("it has been cut short");
  isRagged_ = !isPending_ && committedEnd_ < end_;
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
  if (fstat(descriptor_.number(), &status) != 0) failWith(errno);
  return static_cast<std::uint64_t>(status.st_size);
}

std::uint64_t AtomicFile::sizeOnDisk() const {
  constexpr std::uint64_t unit = 512;
  struct stat status;
  if (fstat(descriptor_.number(), &status) != 0) failWith(errno);
  return unit * static_cast<std::uint64_t>(status.st_blocks);
}

// Takes in the record at the end of the file, if there is one.
bool AtomicFile::readRecord(std::uint64_t length) {
  if (length % 8 != footerSize % 8 || length < footerSize) return false;
  const int file = descriptor_.number();
  Footer footer;
  if (readSome(file, &footer, sizeof footer, length - footerSize) != sizeof footer) return false;
  if (footer.mark != footerMark || footer.count > mostSlots || footer.end % pageSize != 0)
    return false;
  const std::size_t size = footer.count * slotSize;
  if (footer.end != length - footerSize - size) return false;
  std::vector<std::byte> slots(size + offsetof(Footer, sum));
  if (readSome(file, slots.data(), slots.size(), footer.end) != slots.size()) return false;
  if (sumOf(slots.data(), slots.size()) != footer.sum) return false;
  slots.resize(size);
  for (std::size_t place = 0; place < size; place += slotSize) {
    std::uint64_t number = 0;
    std::memcpy(&number, &slots[place], sizeof number);
    if (number >= footer.end / pageSize) return false;
    places_[number] = place + sizeof number;
  }
  record_ = std::move(slots);
  end_ = footer.end;
  return true;
}

std::uint32_t AtomicFile::headerNumber(std::uint64_t place) const {
  std::byte bytes[4];
  if (!read(place, sizeof bytes, bytes)) throw FileFault("it has been cut short");
  return bigEndian(bytes);
}

void AtomicFile::dropChanges() noexcept {
  // What cannot be cut off stays behind the committed end, where it means nothing.
  if (hasNewPages_) isRagged_ = !cut(descriptor_.number(), committedEnd_);
  hasNewPages_ = false;
  end_ = committedEnd_;
  record_.clear();
  places_.clear();
  isPending_ = false;
  knowsFreePages_ = false;
}

// ---- Reading and writing ----

bool AtomicFile::read(std::uint64_t offset, std::size_t size, void* to) const {
  if (const auto found = places_.find(offset / pageSize); found != places_.end()) {
    std::memcpy(to, &record_[found->second + offset % pageSize], size);
    return true;
  }
  const std::size_t there = readSome(descriptor_.number(), to, size, offset);
  std::memset(static_cast<char*>(to) + there, 0, size - there);
  return there == size;
}

void AtomicFile::write(std::uint64_t offset, const void* page) {
  makeReady();
  if (offset < committedEnd_ && !isFree(offset / pageSize)) return hold(offset / pageSize, page);
  hasNewPages_ = hasNewPages_ || offset >= committedEnd_;
  writeAll(descriptor_.number(), page, pageSize, offset);
  end_ = std::max(end_, offset + pageSize);
}

void AtomicFile::hold(std::uint64_t number, const void* page) {
  const auto found = places_.find(number);
  if (found != places_.end()) {
    std::memcpy(&record_[found->second], page, pageSize);
    return;
  }
  if (places_.size() == mostSlots) failWith(EFBIG);
  const std::size_t slot = record_.size();
  record_.resize(slot + slotSize);
  std::memcpy(&record_[slot], &number, sizeof number);
  std::memcpy(&record_[slot + sizeof number], page, pageSize);
  places_.emplace(number, slot + sizeof number);
}

void AtomicFile::truncate(std::uint64_t size) {
  makeReady();
  size = std::max(size, committedEnd_);
  if (size >= end_) return;
  if (!cut(descriptor_.number(), size)) failWith(errno);
  end_ = size;
}

// A record goes to the end of the file: nothing may lie there by then.
void AtomicFile::makeReady() {
  if (isPending_) settle();
  if (!isRagged_) return;
  if (!cut(descriptor_.number(), end_)) failWith(errno);
  isRagged_ = false;
}

void AtomicFile::commit() {
  if (isPending_ || places_.empty()) return;
  try {
    Footer footer{footerMark, end_, places_.size(), 0};
    const std::size_t size = record_.size();
    record_.resize(size + footerSize);
    std::memcpy(&record_[size], &footer, sizeof footer);
    footer.sum = sumOf(record_.data(), size + offsetof(Footer, sum));
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
    settle();
  } catch (const std::system_error&) {
    // The record counts: the next transaction reads it, and the next commit puts the pages in
    // place.
    return;
  }
}

// Puts the pages of the record on the disk in their places, and ends the record.
void AtomicFile::settle() {
  const int file = descriptor_.number();
  for (const auto& [number, place] : places_) {
    writeAll(file, &record_[place], pageSize, number * pageSize);
  }
  if (!cut(file, committedEnd_)) failWith(errno);
  dropChanges();
}

// ---- Free pages ----

// Committed pages that hold nothing are written like new ones. A variable that takes the place of a
// large one would else pass through memory as a whole.
bool AtomicFile::isFree(std::uint64_t number) {
  if (!knowsFreePages_) {
    freePages_ =
        headerNumber(freeCountPlace) > fewFreePages ? findFreePages() : std::vector<bool>();
    knowsFreePages_ = true;
  }
  return number < freePages_.size() && freePages_[number];
}

// The leaves of the free list. Its trunk pages, each with the numbers of leaves, hold something.
// Ends early at whatever does not fit.
std::vector<bool> AtomicFile::findFreePages() const {
  constexpr std::uint32_t mostLeaves = pageSize / 4 - 2;
  const std::uint64_t pages = committedEnd_ / pageSize;
  std::vector<bool> free(pages);
  std::uint64_t left = headerNumber(freeCountPlace);
  std::uint32_t trunk = headerNumber(firstTrunkPlace);
  std::array<std::byte, pageSize> page;
  while (trunk > 1 && trunk <= pages && left > 0) {
    if (!read((trunk - 1) * pageSize, pageSize, page.data())) break;
    const std::uint32_t count = bigEndian(&page[4]);
    if (count > mostLeaves || count >= left) break;
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
