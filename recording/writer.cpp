#include <unistd.h>

#include <cerrno>
#include <utility>

#include "recording/hierarchy.h"
#include "recording/known_times.h"
#include "recording/new_file.h"
#include "recording/opening.h"
#include "recording/pieces.h"
#include "recording/recording.h"
#include "recording/rows.h"
#include "recording/settings.h"

namespace kvr::recording {
namespace {

constexpr std::uint64_t largeFile = std::uint64_t{32} << 20;
constexpr std::uint32_t smallPages = 8192;
constexpr std::uint32_t largePages = 65536;

void requireTexts(std::initializer_list<std::string_view> texts) {
  std::size_t bytes = 0;
  for (const std::string_view text : texts) {
    if (!isUtf8(text)) throw std::invalid_argument("a text is not UTF-8");
    bytes += text.size();
  }
  if (bytes > mostTextBytes) throw std::invalid_argument("the texts have more than 1 MiB together");
}

void requireTexts(const Tolerance& tolerance) { requireTexts({tolerance.function}); }
void requireTexts(const Sync& sync) { requireTexts({sync.function, sync.method, sync.interp}); }

void requireSamples(const Samples& samples, const char* name) {
  const auto refuse = [&](const char* what) {
    throw std::invalid_argument(std::string(name) + what);
  };
  if (samples.shape.size() > mostDimensions) refuse(" have more than 32 dimensions");
  if (samples.count > INT64_MAX) refuse(" are too many");
  for (const std::uint64_t extent : samples.shape)
    if (extent > INT64_MAX) refuse(" have too large a shape");
  if (samples.valueClass == ValueClass::kText) return;
  if (bytesOf(samples.valueClass, samples.count, samples.shape) != samples.bytes.size())
    refuse(" have another number of bytes than their class, count and shape say");
}

}  // namespace

// Of a new file SQLite's connection ends before the file is published, else before it is removed.
class Writer::Impl {
 public:
  Impl(std::unique_ptr<NewFile> file, std::uint32_t pageSize, Existing existing)
      : file_(std::move(file)),
        existing_(existing),
        connection_(std::in_place, file_->path(), Access::kWriteNew),
        rows_(prepared(*connection_, pageSize)) {}

  explicit Impl(const std::string& path)
      : connection_(openToWrite(path)), rows_(Rows(*connection_, readContents(*connection_))) {}

  ~Impl() {
    rows_.reset();
    if (connection_) connection_->rollBack();
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  std::int64_t addRun(const Run& run);
  std::int64_t addSignal(const Signal& signal, const Samples& times, const Samples& values,
                         std::span<const std::byte> metadata);
  void setParent(std::int64_t signal, std::int64_t parent);
  void commit();

 private:
  // The statements, and what they have counted.
  struct Rows {
    Rows(const Connection& connection, const Contents& found)
        : signalsBefore(found.signals),
          contents(found),
          pieces(connection, found.pieces),
          times(connection, found.timeBases),
          settings(connection, found.tolerances, found.syncs),
          run(connection, "INSERT INTO run VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10)"),
          signal(connection,
                 "INSERT INTO signal VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13,?14,?15,?16,"
                 "?17,?18,?19,?20,?21,?22,?23,?24,?25,?26,?27,?28)"),
          link(connection, "INSERT INTO hierarchy VALUES(?1,?2,?3)"),
          hierarchy(found.hierarchy == 0 ? NewHierarchy()
                                         : NewHierarchy(Hierarchy(connection, found))) {}

    std::int64_t signalsBefore;
    Contents contents;
    PieceWriter pieces;
    KnownTimes times;
    KnownSettings settings;
    RowWriter run;
    RowWriter signal;
    RowWriter link;
    NewHierarchy hierarchy;
  };

  struct OpenRun {
    Run run;
    std::int64_t id = 0;
    std::int64_t firstSignal = 0;
  };

  static Rows prepared(const Connection& connection, std::uint32_t pageSize) {
    makeTables(connection, pageSize);
    return {connection, {}};
  }

  Rows& rows() {
    if (!rows_) throw std::invalid_argument("the recording is complete, or failed before");
    return *rows_;
  }
  void endRun();
  void writeContents();
  void publish();

  // Runs what changes the file. After a failure in its middle the file must not be completed.
  template <class Body>
  auto guarded(const Body& body) {
    try {
      return body(rows());
    } catch (...) {
      rows_.reset();
      throw;
    }
  }

  std::unique_ptr<NewFile> file_;
  Existing existing_ = Existing::kReplace;
  std::optional<Connection> connection_;
  std::optional<Rows> rows_;
  std::optional<OpenRun> openRun_;
};

std::int64_t Writer::Impl::addRun(const Run& run) {
  requireTexts({run.name, run.version});
  requireTexts(run.tolerance);
  requireTexts(run.sync);
  rows();
  OpenRun next{run, 0, 0};
  return guarded([&](Rows& to) {
    endRun();
    next.id = ++to.contents.runs;
    next.firstSignal = to.contents.signals + 1;
    openRun_ = std::move(next);
    return openRun_->id;
  });
}

// A run is written when all its signals are.
void Writer::Impl::endRun() {
  if (!openRun_) return;
  Rows& to = rows();
  const auto& [run, id, firstSignal] = *openRun_;
  const std::int64_t tolerance = to.settings.idOf(run.tolerance);
  const std::int64_t sync = to.settings.idOf(run.sync);
  to.run.integer(id).text(run.name).text(run.version).integer(run.created);
  to.run.integer(run.instance ? std::optional<std::int64_t>(*run.instance) : std::nullopt);
  to.run.integer(tolerance).integer(sync).integer(firstSignal);
  to.run.integer(to.contents.signals - firstSignal + 1).write();
  openRun_.reset();
}

std::int64_t Writer::Impl::addSignal(const Signal& signal, const Samples& times,
                                     const Samples& values, std::span<const std::byte> metadata) {
  rows();
  if (!openRun_) throw std::invalid_argument("a signal needs a run to be in");
  if (times.valueClass >= ValueClass::kComplexSingle)
    throw std::invalid_argument("the times are no real numbers");
  if (!times.shape.empty()) throw std::invalid_argument("the times have a shape");
  requireSamples(times, "the times");
  requireSamples(values, "the values");
  if (times.count != values.count)
    throw std::invalid_argument("there are " + std::to_string(times.count) + " times and " +
                                std::to_string(values.count) + " samples");
  const std::string channel = listOf(std::span<const std::int32_t>(signal.channel));
  const std::string shape = listOf(std::span<const std::uint64_t>(values.shape));
  requireTexts({signal.label, signal.path, signal.model, signal.source, signal.rootSource,
                signal.timeSource, signal.sid, signal.dash, channel, shape,
                signal.unit ? std::string_view(*signal.unit) : std::string_view()});
  if (signal.tolerance) requireTexts(*signal.tolerance);
  if (signal.sync) requireTexts(*signal.sync);

  return guarded([&](Rows& to) {
    const std::int64_t timeBase = to.times.idOf(times, to.pieces);
    const std::int64_t firstPiece = to.pieces.write(values.bytes);
    const std::int64_t firstMetadata = to.pieces.write(metadata);
    std::optional<std::int64_t> tolerance;
    std::optional<std::int64_t> sync;
    if (signal.tolerance) tolerance = to.settings.idOf(*signal.tolerance);
    if (signal.sync) sync = to.settings.idOf(*signal.sync);
    const std::int64_t id = to.contents.signals + 1;
    RowWriter& row = to.signal;
    row.integer(id).integer(openRun_->id).text(signal.label).text(signal.path).text(signal.model);
    row.text(signal.source).text(signal.rootSource).text(signal.timeSource).text(signal.sid);
    row.integer(signal.port).text(channel);
    if (signal.unit) {
      row.text(*signal.unit);
    } else {
      row.null();
    }
    for (const double part : signal.color) row.real(part);
    row.text(signal.dash).integer(signal.visible ? 1 : 0).integer(tolerance).integer(sync);
    row.text(nameOf(values.valueClass)).integer(static_cast<std::int64_t>(values.count));
    row.text(shape).integer(timeBase).integer(static_cast<std::int64_t>(values.bytes.size()));
    row.integer(firstPiece).integer(static_cast<std::int64_t>(metadata.size()));
    row.integer(firstMetadata).write();
    to.contents.signals = id;
    return id;
  });
}

void Writer::Impl::setParent(std::int64_t signal, std::int64_t parent) {
  for (const std::int64_t id : {signal, parent})
    if (id < 1 || id > rows().contents.signals)
      throw std::invalid_argument("there is no signal " + std::to_string(id));
  if (signal <= rows().signalsBefore)
    throw std::invalid_argument("the signal was in the file before");
  rows().hierarchy.requireFree(signal, parent);
  guarded([&](Rows& to) {
    to.link.integer(signal).integer(parent).write();
    to.hierarchy.add(signal, parent);
    ++to.contents.hierarchy;
  });
}

void Writer::Impl::writeContents() {
  Rows& to = rows();
  const Contents& all = to.contents;
  connection_->execute("DELETE FROM contents");
  RowWriter row(*connection_, "INSERT INTO contents VALUES(?1,?2,?3,?4,?5,?6,?7,?8)");
  row.integer(all.runs).integer(all.signals).integer(to.settings.tolerances());
  row.integer(to.settings.syncs()).integer(all.hierarchy).integer(to.times.last());
  row.integer(to.pieces.last()).write();
}

void Writer::Impl::commit() {
  guarded([&](Rows&) {
    endRun();
    writeContents();
    rows_.reset();
    connection_->execute("COMMIT");
    if (!file_) return;
    connection_.reset();
    publish();
  });
}

// A file that another process makes meanwhile may be added to at once: only one that is locked, or
// that nobody can add to, is replaced.
void Writer::Impl::publish() {
  for (;;) {
    const bool exists = file_->targetExists();
    const bool replaces = exists && existing_ == Existing::kReplace;
    std::optional<Connection> others;
    if (replaces) others = lockOut(file_->target());
    if (replaces || !exists) {
      // A journal of the old file, or of one that was removed, must not be taken for one of the
      // new.
      for (const char* ending : {"-journal", "-wal", "-shm"})
        unlink((file_->target() + ending).c_str());
    }
    if (file_->publish(replaces ? Existing::kReplace : Existing::kKeep)) return;
    if (existing_ == Existing::kKeep) throw SystemError(EEXIST, std::generic_category());
  }
}

// ---- The public class ----

Writer::Writer(std::unique_ptr<Impl> impl) noexcept : impl_(std::move(impl)) {}
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;
Writer::~Writer() = default;

Writer Writer::create(const std::string& path, std::uint64_t expectedBytes, Existing existing) {
  const std::uint32_t pageSize = expectedBytes < largeFile ? smallPages : largePages;
  return Writer(std::make_unique<Impl>(std::make_unique<NewFile>(path), pageSize, existing));
}

Writer Writer::append(const std::string& path) { return Writer(std::make_unique<Impl>(path)); }

std::int64_t Writer::addRun(const Run& run) { return impl_->addRun(run); }

std::int64_t Writer::addSignal(const Signal& signal, const Samples& times, const Samples& values,
                               std::span<const std::byte> metadata) {
  return impl_->addSignal(signal, times, values, metadata);
}

void Writer::setParent(std::int64_t signal, std::int64_t parent) {
  impl_->setParent(signal, parent);
}

void Writer::commit() { impl_->commit(); }

}  // namespace kvr::recording
