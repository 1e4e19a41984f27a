// Variables of the scratch file, beside the bare library calls that make and read the same rows.
//
//   scratch_put/ours         the values of one more signal, one opening of the file each
//   scratch_put/bare         the same rows and sums by bare SQLite calls
//   scratch_get/ours         the values of one signal; beside it scratch_get/bare
//   scratch_put/large/...    a signal of 1e6 doubles, replaced; beside it the same by bare calls
//   scratch_get/large/...    a signal of 1e6 doubles; beside it the same by bare calls
//
// Arguments are the number of variables in the file, or of doubles in the variable.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <xxhash.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/sizes.h"
#include "embedded_host/arrays/arrays.h"
#include "embedded_host/arrays/call_scope.h"
#include "kvrntob/host/libvf.h"
#include "kvrntob/store/scratch_file.h"

namespace {

using vormel::CallScope;
using vormel::OwnedArray;

constexpr std::size_t kSamples = 1000;

OwnedArray makeSeries(std::size_t samples) {
  const std::size_t one[] = {1, 1};
  OwnedArray series(vormel::makeObject("timeseries", 2, one));
  for (const char* property : {"Data", "Time"}) {
    const OwnedArray values(vrCreateNumericMatrix_730(1, samples, vrDOUBLE_CLASS, 0));
    auto* doubles = static_cast<double*>(vrGetData(values.get()));
    for (std::size_t i = 0; i < samples; ++i) doubles[i] = static_cast<double>(i);
    vrSetProperty_730(series.get(), 0, property, values.get());
  }
  return series;
}

using Write = void (*)(kvr::int32 id, const vrArray* values);

// ---- Files that stay from one turn of a benchmark to the next ----

// By path, with the last of their variables, which are "id1" and on.
std::map<std::string, kvr::int32> files;

// The store's operations use the file from now on.
kvr::int32& makeFile(const std::string& path, kvr::int32 count, const vrArray* values,
                     Write write) {
  {
    const CallScope call;
    kvr::createScratchFile();
  }
  std::filesystem::rename(kvr::scratchFileName, path);
  kvr::scratchFileName = path;
  kvr::int32& last = files[path];
  for (last = 0; last < count;) write(++last, values);
  return last;
}

// Makes the file unless an earlier turn has.
kvr::int32& useFile(const std::string& name, kvr::int32 count, const vrArray* values, Write write) {
  static const std::string directory = [] {
    const CallScope call;
    kvr::createScratchFile();
    return kvr::scratchFileName;
  }();
  const std::string path = directory + '.' + name + '.' + std::to_string(count);
  const auto found = files.find(path);
  if (found == files.end()) return makeFile(path, count, values, write);
  kvr::scratchFileName = path;
  return found->second;
}

// ---- Variables by the store's operations ----

void putOurs(kvr::int32 id, const vrArray* values) {
  const CallScope call;
  kvr::writeScratchVariable(values, id);
}

// The file is made anew when it has doubled.
void put(benchmark::State& state, const char* name, Write write) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  kvr::int32& last = useFile(name, count, values.get(), putOurs);
  for (auto _ : state) {
    if (last == 2 * count) {
      state.PauseTiming();
      makeFile(kvr::scratchFileName, count, values.get(), putOurs);
      state.ResumeTiming();
    }
    write(++last, values.get());
  }
}

// ---- The same by bare calls ----

struct CloseBare {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseBare>;
using Row = std::unique_ptr<sqlite3_stmt, CloseBare>;

void require(bool holds) {
  if (!holds) throw std::runtime_error("SQLite");
}

Database openBare(int access) {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(kvr::scratchFileName.c_str(), &opened, access | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database(opened);
  require(code == SQLITE_OK);
  return database;
}

void execute(const Database& database, const char* sql) {
  require(sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK);
}

Row prepare(const Database& database, const char* sql) {
  sqlite3_stmt* made = nullptr;
  require(sqlite3_prepare_v2(database.get(), sql, -1, &made, nullptr) == SQLITE_OK);
  return Row(made);
}

constexpr std::size_t kPiece = std::size_t{1} << 18;

// The bytes of both properties, in pieces; what else a value has is left out.
void putPiecesBare(const Database& database, sqlite3_int64 first, const vrArray* values,
                   sqlite3_int64& count) {
  const Row insert = prepare(database, "INSERT INTO piece VALUES(?1,?2,?3)");
  const auto piece = [&](const char* bytes, std::size_t size) {
    sqlite3_bind_int64(insert.get(), 1, first + count++);
    sqlite3_bind_int64(insert.get(), 2, static_cast<sqlite3_int64>(XXH3_64bits(bytes, size)));
    sqlite3_bind_blob64(insert.get(), 3, bytes, size, SQLITE_STATIC);
    require(sqlite3_step(insert.get()) == SQLITE_DONE);
    sqlite3_reset(insert.get());
  };
  const vrArray* time = vrGetField_730(values, 0, "Time");
  const vrArray* data = vrGetField_730(values, 0, "Data");
  const std::size_t size = vrGetNumberOfElements(time) * sizeof(double);
  if (2 * size <= kPiece) {
    std::vector<char> both(2 * size);
    std::memcpy(both.data(), vrGetData(time), size);
    std::memcpy(&both[size], vrGetData(data), size);
    return piece(both.data(), both.size());
  }
  for (const vrArray* part : {time, data}) {
    for (std::size_t done = 0; done < size; done += kPiece)
      piece(static_cast<const char*>(vrGetData(part)) + done, std::min(kPiece, size - done));
  }
}

void bindName(const Row& row, const std::string& name) {
  sqlite3_bind_blob64(row.get(), 1, name.data(), name.size(), SQLITE_STATIC);
}

// A name is looked up for the rows that go, as whoever replaces would.
void putBare(kvr::int32 id, const vrArray* values) {
  const Database database = openBare(SQLITE_OPEN_READWRITE);
  execute(database, "PRAGMA synchronous=OFF; PRAGMA journal_mode=MEMORY; PRAGMA secure_delete=OFF");
  execute(database, "BEGIN IMMEDIATE");
  const std::string name = "id" + std::to_string(id);
  const Row find = prepare(database, "SELECT first,pieces FROM variable WHERE name=?1");
  bindName(find, name);
  sqlite3_int64 count = 0;
  sqlite3_int64 first = 1;
  {
    const Row last = prepare(database, "SELECT max(id) FROM piece");
    if (sqlite3_step(last.get()) == SQLITE_ROW) first = sqlite3_column_int64(last.get(), 0) + 1;
  }
  putPiecesBare(database, first, values, count);
  if (sqlite3_step(find.get()) == SQLITE_ROW) {
    const Row remove = prepare(database, "DELETE FROM piece WHERE id>=?1 AND id<?1+?2");
    sqlite3_bind_int64(remove.get(), 1, sqlite3_column_int64(find.get(), 0));
    sqlite3_bind_int64(remove.get(), 2, sqlite3_column_int64(find.get(), 1));
    require(sqlite3_step(remove.get()) == SQLITE_DONE);
  }
  const Row put = prepare(database, "REPLACE INTO variable VALUES(?1,?2,?3)");
  bindName(put, name);
  sqlite3_bind_int64(put.get(), 2, first);
  sqlite3_bind_int64(put.get(), 3, count);
  require(sqlite3_step(put.get()) == SQLITE_DONE);
  sqlite3_reset(find.get());
  execute(database, "COMMIT");
}

BENCHMARK_CAPTURE(put, ours, "ours", putOurs)
    ->Name("scratch_put/ours")
    ->Apply(bench::at<10, 100'000>);
BENCHMARK_CAPTURE(put, bare, "bare", putBare)->Name("scratch_put/bare")->Apply(bench::at<10>);

// ---- Reading ----

void getOurs(benchmark::State& state) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  useFile("ours", count, values.get(), putOurs);
  kvr::int32 id = 0;
  for (auto _ : state) {
    const CallScope call;
    const OwnedArray series(kvr::readScratchVariable(id + 1));
    if (!vormel::equal(vrGetField_730(series.get(), 0, "Data"),
                       vrGetField_730(values.get(), 0, "Data")))
      state.SkipWithError("wrong values");
    id = (id + 7919) % count;
  }
}
BENCHMARK(getOurs)->Name("scratch_get/ours")->Apply(bench::at<10, 100'000>);

// Both properties into arrays of the host, as the store wants them; each piece is summed.
std::vector<OwnedArray> readBare(const std::string& name, std::size_t samples) {
  const Database database = openBare(SQLITE_OPEN_READONLY);
  const Row rows = prepare(database,
                           "SELECT p.sum,p.bytes FROM variable v CROSS JOIN piece p WHERE "
                           "v.name=?1 AND p.id>=v.first AND p.id<v.first+v.pieces ORDER BY p.id");
  bindName(rows, name);
  std::vector<OwnedArray> parts;
  for (int part = 0; part < 2; ++part) {
    const std::size_t dimensions[] = {1, samples};
    parts.emplace_back(vormel::makeUnfilled(vrDOUBLE_CLASS, 2, dimensions));
  }
  const std::size_t size = samples * sizeof(double);
  std::size_t done = 0;
  while (sqlite3_step(rows.get()) == SQLITE_ROW) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(rows.get(), 1));
    auto left = static_cast<std::size_t>(sqlite3_column_bytes(rows.get(), 1));
    require(static_cast<sqlite3_int64>(XXH3_64bits(bytes, left)) ==
            sqlite3_column_int64(rows.get(), 0));
    while (left > 0 && done < 2 * size) {
      const std::size_t length = std::min(left, size - done % size);
      auto* to = static_cast<char*>(vrGetData(parts[done / size].get()));
      std::memcpy(to + done % size, bytes, length);
      bytes += length;
      left -= length;
      done += length;
    }
  }
  require(done == 2 * size);
  return parts;
}

void getBare(benchmark::State& state) {
  const OwnedArray values = makeSeries(kSamples);
  const auto count = static_cast<kvr::int32>(state.range(0));
  useFile("all_bare", count, values.get(), putBare);
  kvr::int32 next = 0;
  for (auto _ : state) {
    const std::vector<OwnedArray> parts = readBare("id" + std::to_string(next + 1), kSamples);
    if (!vormel::equal(parts[1].get(), vrGetField_730(values.get(), 0, "Data")))
      state.SkipWithError("wrong values");
    next = (next + 7919) % count;
  }
}
BENCHMARK(getBare)->Name("scratch_get/bare")->Apply(bench::at<10>);

void getLarge(benchmark::State& state) {
  const OwnedArray values = makeSeries(static_cast<std::size_t>(state.range(0)));
  useFile("large", 1, values.get(), putOurs);
  const auto isRight = [&] {
    const CallScope call;
    const OwnedArray series(kvr::readScratchVariable(1));
    return vormel::equal(series.get(), values.get());
  };
  if (!isRight()) state.SkipWithError("wrong values");
  for (auto _ : state) {
    const CallScope call;
    const OwnedArray series(kvr::readScratchVariable(1));
    benchmark::DoNotOptimize(vrGetData(vrGetField_730(series.get(), 0, "Data")));
  }
}
BENCHMARK(getLarge)->Name("scratch_get/large/ours")->Apply(bench::at<1'000'000>);

void getLargeBare(benchmark::State& state) {
  const auto samples = static_cast<std::size_t>(state.range(0));
  const OwnedArray values = makeSeries(samples);
  useFile("large_bare", 1, values.get(), putBare);
  if (!vormel::equal(readBare("id1", samples)[1].get(), vrGetField_730(values.get(), 0, "Data")))
    state.SkipWithError("wrong values");
  for (auto _ : state) benchmark::DoNotOptimize(readBare("id1", samples));
}
BENCHMARK(getLargeBare)->Name("scratch_get/large/bare")->Apply(bench::at<1'000'000>);

void putLarge(benchmark::State& state, const char* name, Write write) {
  const OwnedArray values = makeSeries(static_cast<std::size_t>(state.range(0)));
  useFile(name, 1, values.get(), write);
  for (auto _ : state) write(1, values.get());
}
BENCHMARK_CAPTURE(putLarge, ours, "large_put", putOurs)
    ->Name("scratch_put/large/ours")
    ->Apply(bench::at<1'000'000>);
BENCHMARK_CAPTURE(putLarge, bare, "large_put_bare", putBare)
    ->Name("scratch_put/large/bare")
    ->Apply(bench::at<1'000'000>);

}  // namespace
