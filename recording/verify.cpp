// The check of a whole file: the database by SQLite, then every row, reference and sum by us.
#include <algorithm>
#include <string>
#include <vector>

#include "recording/hierarchy.h"
#include "recording/opening.h"
#include "recording/pieces.h"
#include "recording/recording.h"
#include "recording/signal_rows.h"

namespace kvr::recording {
namespace {

constexpr std::size_t mostProblems = 100;

// Thrown when there are enough problems.
struct Enough {};

class Check {
 public:
  Check(const Connection& connection, const Progress& progress)
      : connection_(connection),
        progress_(progress),
        length_(connection.length()),
        contents_(readContents(connection)),
        entries_(connection, contents_, length_),
        pieces_(connection) {}

  std::vector<Problem> run() {
    try {
      checkDatabase();
      checkCounts();
      checkSettings();
      checkTimeBases();
      checkRuns();
      checkSignals();
      checkHierarchy();
    } catch (const Enough&) {
    }
    return std::move(problems_);
  }

 private:
  void report(const std::string& what, const std::string& where) {
    problems_.push_back({what, where});
    if (problems_.size() == mostProblems) throw Enough();
  }

  // Runs a step of the check; what it throws is a problem.
  template <class Body>
  void attempt(const std::string& where, const Body& body) {
    try {
      body();
    } catch (const FormatError& error) {
      const bool isNamed = where.empty() || error.where().empty() || error.where() == where;
      report(error.what(),
             isNamed ? where + (where.empty() ? error.where() : "") : where + ", " + error.where());
    }
  }

  void checkDatabase();
  void checkCounts();
  void checkSettings();
  void checkTimeBases();
  void checkRuns();
  void checkSignals();
  void checkHierarchy();
  void checkBytes(std::int64_t first, std::uint64_t size);

  const Connection& connection_;
  const Progress& progress_;
  std::uint64_t length_;
  Contents contents_;
  EntryReader entries_;
  PieceReader pieces_;
  std::uint64_t done_ = 0;
  std::int64_t piecesSeen_ = 0;
  std::vector<std::byte> buffer_;
  std::vector<Problem> problems_;
};

void Check::checkDatabase() {
  attempt("", [&] {
    Statement check = connection_.prepare("PRAGMA integrity_check(20)");
    while (check.step())
      if (check.text(0) != "ok") report(std::string(check.text(0)), "the database");
  });
}

void Check::checkCounts() {
  const std::pair<const char*, std::int64_t> expected[] = {{"run", contents_.runs},
                                                           {"signal", contents_.signals},
                                                           {"tolerance", contents_.tolerances},
                                                           {"sync", contents_.syncs},
                                                           {"hierarchy", contents_.hierarchy},
                                                           {"time_base", contents_.timeBases},
                                                           {"piece", contents_.pieces}};
  if (!problems_.empty()) return;  // counting rows of a broken tree need not end
  for (const auto& [table, count] : expected) {
    attempt(std::string("table ") + table, [&, table = table, count = count] {
      Statement rows = connection_.prepare(std::string("SELECT count(*) FROM ") + table);
      rows.step();
      if (rows.integer(0) != count)
        throw FormatError(
            FormatError::Kind::kDamaged,
            "has " + std::to_string(rows.integer(0)) + " rows instead of " + std::to_string(count));
    });
  }
}

void Check::checkSettings() {
  SettingsReader settings(connection_);
  for (std::int64_t id = 1; id <= contents_.tolerances; ++id)
    attempt("", [&] { settings.tolerance(id); });
  for (std::int64_t id = 1; id <= contents_.syncs; ++id) attempt("", [&] { settings.sync(id); });
}

void Check::checkBytes(std::int64_t first, std::uint64_t size) {
  piecesSeen_ += piecesOf(size);
  for (std::uint64_t from = 0; from < size; from += pieceSize) {
    buffer_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, size - from)));
    pieces_.read(first, size, from, buffer_);
    done_ += buffer_.size();
    if (progress_) progress_(std::min(done_, length_), length_);
  }
}

void Check::checkTimeBases() {
  for (std::int64_t id = 1; id <= contents_.timeBases; ++id) {
    attempt(placeOf("time base", id), [&] {
      const TimeBase times = entries_.timeBase(id);
      checkBytes(times.firstPiece, times.samples * sizeOf(times.valueClass));
    });
  }
}

void Check::checkRuns() {
  std::int64_t next = 1;
  for (std::int64_t id = 1; id <= contents_.runs; ++id) {
    attempt(placeOf("run", id), [&] {
      const RunEntry run = entries_.runs(id, 1).front();
      if (run.firstSignal != next)
        throw FormatError(FormatError::Kind::kDamaged, "its signals do not follow the last run's");
      next += run.signals;
    });
  }
  if (problems_.empty() && next != contents_.signals + 1)
    report("signals belong to no run", "table run");
}

void Check::checkSignals() {
  for (std::int64_t id = 1; id <= contents_.signals; ++id) {
    attempt(placeOf("signal", id), [&] {
      const SignalEntry signal = entries_.signals(id, 1).front();
      const RunEntry run = entries_.runs(signal.run, 1).front();
      if (id < run.firstSignal || id >= run.firstSignal + run.signals)
        throw FormatError(FormatError::Kind::kDamaged, "is not among the signals of its run");
      if (entries_.timeBase(signal.timeBase).samples != signal.samples)
        throw FormatError(FormatError::Kind::kDamaged, "has another number of samples than times");
      checkBytes(signal.firstPiece, signal.bytes);
      checkBytes(signal.firstMetadataPiece, signal.metadataBytes);
    });
  }
  if (problems_.empty() && piecesSeen_ != contents_.pieces)
    report("pieces belong to no signal, or to several", "table piece");
}

void Check::checkHierarchy() {
  attempt("", [&] { const Hierarchy links(connection_, contents_); });
}

}  // namespace

std::vector<Problem> verify(const std::string& path, const Progress& progress) {
  try {
    Connection connection = openToRead(path);
    const Snapshot snapshot(connection);
    return Check(connection, progress).run();
  } catch (const FormatError& error) {
    if (error.kind() != FormatError::Kind::kDamaged) throw;
    return {{error.what(), error.where()}};
  }
}

}  // namespace kvr::recording
