#include "recording/known_times.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "recording/opening.h"

namespace kvr::recording {
namespace {

constexpr std::size_t mostKeptBytes = std::size_t{32} << 20;

std::uint64_t hashOf(const Samples& times) {
  return sumOf(times.bytes, static_cast<std::uint64_t>(times.valueClass));
}

}  // namespace

TimeBase readTimeBase(Statement& select, RowBytes& bytes, std::int64_t id, const Contents& contents,
                      std::uint64_t* hash) {
  const Resetting afterwards(select);
  select.bind(1, id);
  RowReader row(select, bytes, "time base", id);
  if (!select.step()) row.fail("is missing");
  TimeBase found;
  found.id = row.integer(id, id);
  const std::optional<ValueClass> valueClass = classNamed(row.text());
  if (!valueClass || *valueClass >= ValueClass::kComplexSingle)
    row.fail("has times of no known class");
  found.valueClass = *valueClass;
  found.samples = static_cast<std::uint64_t>(row.integer(0, INT64_MAX));
  const auto size = bytesOf(found.valueClass, found.samples, {});
  if (!size || piecesOf(*size) > contents.pieces) row.fail("is longer than the file");
  const std::int64_t last = contents.pieces - piecesOf(*size) + 1;
  found.firstPiece = *size == 0 ? row.integer(0, 0) : row.integer(1, last);
  const std::int64_t hashed = row.integer();
  if (hash != nullptr) *hash = static_cast<std::uint64_t>(hashed);
  row.end();
  return found;
}

KnownTimes::KnownTimes(const Connection& connection, std::int64_t count)
    : insert_(connection, "INSERT INTO time_base VALUES(?1,?2,?3,?4,?5,?6)"),
      reader_(connection),
      last_(count) {
  if (count == 0) return;
  const Contents contents = readContents(connection);
  Statement select = connection.prepare(selectTimeBase);
  RowBytes bytes;
  for (std::int64_t id = 1; id <= count; ++id) {
    std::uint64_t hash = 0;
    const TimeBase found = readTimeBase(select, bytes, id, contents, &hash);
    byHash_.emplace(hash, found);
  }
}

std::int64_t KnownTimes::idOf(const Samples& times, PieceWriter& pieces) {
  if (!isKept(before_) || !areSame(before_, times)) before_ = find(times, pieces);
  return before_.id;
}

TimeBase KnownTimes::find(const Samples& times, PieceWriter& pieces) {
  const std::uint64_t hash = hashOf(times);
  const auto [first, end] = byHash_.equal_range(hash);
  const auto known =
      std::find_if(first, end, [&](const auto& entry) { return areSame(entry.second, times); });
  if (known != end) return known->second;
  const TimeBase made{last_ + 1, times.valueClass, times.count, pieces.write(times.bytes)};
  insert_.integer(made.id).text(nameOf(made.valueClass));
  insert_.integer(static_cast<std::int64_t>(made.samples)).integer(made.firstPiece);
  insert_.integer(static_cast<std::int64_t>(hash)).write();
  last_ = made.id;
  byHash_.emplace(hash, made);
  keep(made.id, times.bytes);
  return made;
}

bool KnownTimes::areSame(const TimeBase& known, const Samples& times) {
  if (known.valueClass != times.valueClass || known.samples != times.count) return false;
  if (times.bytes.empty()) return true;
  if (const auto kept = kept_.find(known.id); kept != kept_.end())
    return std::memcmp(kept->second.data(), times.bytes.data(), times.bytes.size()) == 0;
  std::vector<std::byte> part(std::min(pieceSize, times.bytes.size()));
  for (std::size_t from = 0; from < times.bytes.size(); from += part.size()) {
    const auto there = std::span(part).first(std::min(part.size(), times.bytes.size() - from));
    reader_.read(known.firstPiece, times.bytes.size(), from, there);
    if (std::memcmp(there.data(), times.bytes.data() + from, there.size()) != 0) return false;
  }
  keep(known.id, times.bytes);
  return true;
}

void KnownTimes::keep(std::int64_t id, std::span<const std::byte> bytes) {
  if (bytes.size() > mostKeptBytes) return;
  if (keptBytes_ + bytes.size() > mostKeptBytes) {
    kept_.clear();
    keptBytes_ = 0;
  }
  kept_.emplace(id, std::vector<std::byte>(bytes.begin(), bytes.end()));
  keptBytes_ += bytes.size();
}

}  // namespace kvr::recording
