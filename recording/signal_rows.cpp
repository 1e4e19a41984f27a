#include "recording/signal_rows.h"

#include <algorithm>

#include "recording/known_times.h"

namespace kvr::recording {

EntryReader::EntryReader(const Connection& connection, const Contents& contents,
                         std::uint64_t fileBytes)
    : contents_(contents),
      fileBytes_(fileBytes),
      settings_(connection),
      selectRuns_(connection.prepare(
          "SELECT id,name,version,created,instance,tolerance,sync,first_signal,signals,sum "
          "FROM run WHERE id>=?1 AND id<?2 ORDER BY id")),
      selectSignals_(connection.prepare(
          "SELECT id,run,label,path,model,source,root_source,time_source,sid,port,channel,unit,red,"
          "green,blue,dash,visible,tolerance,sync,class,samples,shape,time_base,bytes,first_piece,"
          "metadata_bytes,metadata_first_piece,sum FROM signal WHERE id>=?1 AND id<?2 ORDER BY "
          "id")),
      selectTimeBase_(connection.prepare(selectTimeBase)) {}

namespace {

constexpr std::int64_t mostReserved = 4096;  // more must be there before memory is taken for them

void requireRange(std::int64_t first, std::int64_t count, std::int64_t last, const char* what) {
  if (first < 1 || count < 0 || count > last || first > last - count + 1)
    throw std::invalid_argument(std::string("there are no ") + what + " with these ids");
}

}  // namespace

std::vector<RunEntry> EntryReader::runs(std::int64_t first, std::int64_t count) {
  requireRange(first, count, contents_.runs, "runs");
  const Resetting afterwards(selectRuns_);
  selectRuns_.bind(1, first);
  selectRuns_.bind(2, first + count);
  std::vector<RunEntry> found;
  for (std::int64_t id = first; id < first + count; ++id) found.push_back(readRun(id));
  return found;
}

std::vector<SignalEntry> EntryReader::signals(std::int64_t first, std::int64_t count) {
  requireRange(first, count, contents_.signals, "signals");
  const Resetting afterwards(selectSignals_);
  selectSignals_.bind(1, first);
  selectSignals_.bind(2, first + count);
  std::vector<SignalEntry> found;
  found.reserve(static_cast<std::size_t>(std::min(count, mostReserved)));
  for (std::int64_t id = first; id < first + count; ++id) found.push_back(readSignal(id));
  return found;
}

TimeBase EntryReader::timeBase(std::int64_t id) {
  if (id < 1 || id > contents_.timeBases)
    throw std::invalid_argument("there is no time base " + std::to_string(id));
  const TimeBase found = readTimeBase(selectTimeBase_, bytes_, id, contents_);
  if (found.samples * sizeOf(found.valueClass) > fileBytes_)
    throw FormatError(FormatError::Kind::kDamaged, "is longer than the file",
                      placeOf("time base", id));
  return found;
}

RunEntry EntryReader::readRun(std::int64_t id) {
  RowReader row(selectRuns_, bytes_, "run", id);
  if (!selectRuns_.step()) row.fail("is missing");
  RunEntry run;
  run.id = row.integer(id, id);
  run.name = row.text();
  run.version = row.text();
  run.created = row.integer();
  if (const auto instance = row.integerOrNull(INT32_MIN, INT32_MAX))
    run.instance = static_cast<std::int32_t>(*instance);
  const std::int64_t tolerance = row.integer(1, contents_.tolerances);
  const std::int64_t sync = row.integer(1, contents_.syncs);
  run.firstSignal = row.integer(1, contents_.signals + 1);
  run.signals = row.integer(0, contents_.signals - run.firstSignal + 1);
  row.end();
  run.tolerance = settings_.tolerance(tolerance);
  run.sync = settings_.sync(sync);
  return run;
}

SignalEntry EntryReader::readSignal(std::int64_t id) {
  RowReader row(selectSignals_, bytes_, "signal", id);
  if (!selectSignals_.step()) row.fail("is missing");
  SignalEntry signal;
  signal.id = row.integer(id, id);
  signal.run = row.integer(1, contents_.runs);
  for (std::string* text : {&signal.label, &signal.path, &signal.model, &signal.source,
                            &signal.rootSource, &signal.timeSource, &signal.sid})
    *text = row.text();
  signal.port = static_cast<std::int32_t>(row.integer(INT32_MIN, INT32_MAX));
  auto channel = channelOf(row.text());
  if (!channel) row.fail("has a channel that is no list of numbers");
  signal.channel = std::move(*channel);
  signal.unit = row.textOrNull();
  for (double& part : signal.color) part = row.real();
  signal.dash = row.text();
  signal.visible = row.integer(0, 1) != 0;
  const auto tolerance = row.integerOrNull(1, contents_.tolerances);
  const auto sync = row.integerOrNull(1, contents_.syncs);
  readKind(row, signal);
  row.end();
  if (tolerance) signal.tolerance = settings_.tolerance(*tolerance);
  if (sync) signal.sync = settings_.sync(*sync);
  return signal;
}

void EntryReader::readKind(RowReader& row, SignalEntry& signal) {
  const auto valueClass = classNamed(row.text());
  if (!valueClass) row.fail("has values of no known class");
  signal.valueClass = *valueClass;
  signal.samples = static_cast<std::uint64_t>(row.integer(0, INT64_MAX));
  auto shape = extentsOf(row.text());
  const auto isTooLong = [](std::uint64_t extent) { return extent > INT64_MAX; };
  if (!shape || shape->size() > mostDimensions ||
      std::any_of(shape->begin(), shape->end(), isTooLong))
    row.fail("has a shape that is no list of up to 32 numbers");
  signal.shape = std::move(*shape);
  signal.timeBase = row.integer(1, contents_.timeBases);
  signal.bytes = readSize(row);
  if (signal.valueClass != ValueClass::kText &&
      bytesOf(signal.valueClass, signal.samples, signal.shape) != signal.bytes)
    row.fail("has another number of bytes than its class, samples and shape say");
  signal.firstPiece = readFirstPiece(row, signal.bytes);
  signal.metadataBytes = readSize(row);
  signal.firstMetadataPiece = readFirstPiece(row, signal.metadataBytes);
}

std::uint64_t EntryReader::readSize(RowReader& row) const {
  return static_cast<std::uint64_t>(
      row.integer(0, static_cast<std::int64_t>(std::min<std::uint64_t>(fileBytes_, INT64_MAX))));
}

std::int64_t EntryReader::readFirstPiece(RowReader& row, std::uint64_t bytes) const {
  return bytes == 0 ? row.integer(0, 0) : row.integer(1, contents_.pieces - piecesOf(bytes) + 1);
}

}  // namespace kvr::recording
