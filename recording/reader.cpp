#include <mutex>
#include <utility>

#include "recording/hierarchy.h"
#include "recording/opening.h"
#include "recording/pieces.h"
#include "recording/recording.h"
#include "recording/signal_rows.h"

namespace kvr::recording {

FormatError::FormatError(Kind kind, const std::string& what, std::string where)
    : std::runtime_error(what), kind_(kind), where_(std::move(where)) {}

// Each operation is a transaction of its own, so that programs that add runs wait for no more than
// one operation. What a file holds never changes; runs that are added later are not looked at.
class Reader::Impl {
 public:
  explicit Impl(const std::string& path)
      : connection_(openToRead(path)), contents_(contentsOf(connection_)) {}

  // Runs with the file to itself.
  template <class Body>
  auto with(const Body& body) {
    const std::lock_guard turn(mutex_);
    const Snapshot snapshot(connection_);
    return body(*this);
  }

  const Connection& connection() const noexcept { return connection_; }
  const Contents& contents() const noexcept { return contents_; }
  EntryReader& entries() {
    if (!entries_) entries_.emplace(connection_, contents_, connection_.length());
    return *entries_;
  }
  PieceReader& pieces() {
    if (!pieces_) pieces_.emplace(connection_);
    return *pieces_;
  }
  void requireSignal(std::int64_t id) const {
    if (id < 1 || id > contents_.signals)
      throw std::invalid_argument("there is no signal " + std::to_string(id));
  }
  const Hierarchy& hierarchy() {
    if (!hierarchy_) hierarchy_.emplace(connection_, contents_);
    return *hierarchy_;
  }

 private:
  static Contents contentsOf(Connection& connection) {
    const Snapshot snapshot(connection);
    return readContents(connection);
  }

  std::mutex mutex_;
  Connection connection_;
  Contents contents_;
  std::optional<EntryReader> entries_;
  std::optional<PieceReader> pieces_;
  std::optional<Hierarchy> hierarchy_;
};

Reader::Reader(const std::string& path) : impl_(std::make_unique<Impl>(path)) {}
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

std::int64_t Reader::runCount() const noexcept { return impl_->contents().runs; }
std::int64_t Reader::signalCount() const noexcept { return impl_->contents().signals; }

std::vector<RunEntry> Reader::runs(std::int64_t first, std::int64_t count) const {
  return impl_->with([&](Impl& file) { return file.entries().runs(first, count); });
}

std::vector<SignalEntry> Reader::signals(std::int64_t first, std::int64_t count) const {
  return impl_->with([&](Impl& file) { return file.entries().signals(first, count); });
}

std::optional<std::int64_t> Reader::parent(std::int64_t signal) const {
  impl_->requireSignal(signal);
  if (impl_->contents().hierarchy == 0) return std::nullopt;
  return impl_->with([&](Impl& file) { return file.hierarchy().parent(signal); });
}

std::vector<std::int64_t> Reader::children(std::int64_t signal) const {
  impl_->requireSignal(signal);
  if (impl_->contents().hierarchy == 0) return {};
  return impl_->with([&](Impl& file) { return file.hierarchy().children(signal); });
}

TimeBase Reader::timeBase(std::int64_t id) const {
  return impl_->with([&](Impl& file) { return file.entries().timeBase(id); });
}

namespace {

void requireBytes(std::uint64_t there, std::uint64_t from, std::uint64_t count) {
  if (from > there || count > there - from)
    throw std::invalid_argument("the range goes beyond the bytes that are there");
}

}  // namespace

void Reader::readTimes(const TimeBase& times, std::uint64_t from, std::span<std::byte> to) const {
  const std::uint64_t size = times.samples * sizeOf(times.valueClass);
  requireBytes(size, from, to.size());
  impl_->with([&](Impl& file) { file.pieces().read(times.firstPiece, size, from, to); });
}

void Reader::readValues(const SignalEntry& signal, std::uint64_t from,
                        std::span<std::byte> to) const {
  requireBytes(signal.bytes, from, to.size());
  impl_->with([&](Impl& file) { file.pieces().read(signal.firstPiece, signal.bytes, from, to); });
}

void Reader::readMetadata(const SignalEntry& signal, std::uint64_t from,
                          std::span<std::byte> to) const {
  requireBytes(signal.metadataBytes, from, to.size());
  impl_->with([&](Impl& file) {
    file.pieces().read(signal.firstMetadataPiece, signal.metadataBytes, from, to);
  });
}

}  // namespace kvr::recording
