// Recording files: runs of signals in an SQLite database.
//
//   Writer writer = Writer::create("drive.kvr");
//   writer.addRun({.name = "Monday"});
//   const double time[] = {0.0, 0.1, 0.2}, speed[] = {4.5, 7.0, 9.5};
//   writer.addSignal({.label = "speed"}, samplesOf(time), samplesOf(speed));
//   writer.commit();
//
//   Reader reader("drive.kvr");
//   const SignalEntry found = reader.signals(1, 1).front();
//   std::vector<double> values(found.samples);
//   reader.readValues(found, 0, std::as_writable_bytes(std::span(values)));
//
// docs/recording-files.md describes the file. Ids of runs, signals and time bases count from 1 in
// the order of the file. Sample numbers count from 0.
//
// Errors: every operation may throw
//   std::bad_alloc         memory is exhausted
//   SystemError            the system fails: the file, its folder or its disk
//   Busy                   another process keeps the file locked for longer than 10 seconds
//   FormatError            the file is not a recording, is newer than this library, or is damaged
//   std::invalid_argument  an argument is not what its comment says
// Nothing else is thrown. Arguments are tested before the file is touched.
//
// Threads: a Reader may be used by any number of threads, which take turns. A Writer is for one
// thread at a time. Neither may be used in the child of a fork.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#define KVR_RECORDING_EXPORT __attribute__((visibility("default")))

namespace kvr::recording {

// ---- Errors ----

class KVR_RECORDING_EXPORT FormatError : public std::runtime_error {
 public:
  enum class Kind : std::uint8_t {
    kForeign,  // no recording, or one with tables or triggers that are not of the format
    kNewer,    // a recording of a later version of the format
    kDamaged,
  };

  FormatError(Kind kind, const std::string& what, std::string where = {});

  Kind kind() const noexcept { return kind_; }
  // The place in the file, such as "signal 7"; empty if it is the whole file.
  const std::string& where() const noexcept { return where_; }

 private:
  Kind kind_;
  std::string where_;
};

class KVR_RECORDING_EXPORT SystemError : public std::system_error {
 public:
  using std::system_error::system_error;
};

class KVR_RECORDING_EXPORT Busy : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// ---- Content ----

enum class ValueClass : std::uint8_t {
  kLogical,  // a byte, 0 or 1
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,
  kUint64,
  kSingle,
  kDouble,
  kComplexSingle,  // real part, imaginary part
  kComplexDouble,
  kText,  // bytes that the library does not interpret
};

// Bytes of an element; 0 for kText.
KVR_RECORDING_EXPORT std::size_t sizeOf(ValueClass valueClass) noexcept;
// The name in the file, such as "double" or "complex single".
KVR_RECORDING_EXPORT const char* nameOf(ValueClass valueClass) noexcept;

// Eleven fields; compare/compare.h defines them. A NaN stays NaN; its payload is not kept.
struct Tolerance {
  std::int32_t type = 0;
  double absolute = 0;
  double relative = 0;
  double start = 0;
  double end = 0;
  double step = 0;
  double initialAbsolute = 0;
  double absoluteStep = 0;
  double initialRelative = 0;
  double relativeStep = 0;
  std::string function{};
};

struct Sync {
  std::int32_t type = 0;
  std::string method = "union";
  std::string interp = "zoh";
  double interval = 0.01;
  std::string function{};
};

// All texts are UTF-8 and may hold NULs. The texts of a run, a signal, a tolerance or
// synchronisation options have up to 1 MiB together.
struct Run {
  std::string name{};
  std::string version{};                   // of the program that recorded it
  std::int64_t created = 0;                // microseconds since 1970-01-01 UTC
  std::optional<std::int32_t> instance{};  // of the program that recorded it
  Tolerance tolerance{};                   // of signals without their own
  Sync sync{};
};

struct Signal {
  std::string label{};
  std::string path{};
  std::string model{};
  std::string source{};
  std::string rootSource{};
  std::string timeSource{};
  std::string sid{};
  std::optional<std::string> unit{};
  std::int32_t port = 0;
  std::vector<std::int32_t> channel{};
  std::array<double, 3> color{};  // red, green, blue
  std::string dash = "-";
  bool visible = false;
  std::optional<Tolerance> tolerance{};  // none: the run's
  std::optional<Sync> sync{};
};

// Numbers in the caller's memory, little-endian, without gaps: the axis of samples first, then the
// dimensions of a sample, the last one running fastest. Of kText `bytes` may have any length.
struct Samples {
  ValueClass valueClass = ValueClass::kDouble;
  std::uint64_t count = 0;
  std::vector<std::uint64_t> shape{};  // of a sample, up to 32 dimensions; empty for a scalar
  std::span<const std::byte> bytes{};
};

inline Samples samplesOf(std::span<const double> values) {
  return {ValueClass::kDouble, values.size(), {}, std::as_bytes(values)};
}

struct RunEntry : Run {
  std::int64_t id = 0;
  std::int64_t firstSignal = 0;  // its signals have the ids from here on
  std::int64_t signals = 0;
};

struct SignalEntry : Signal {
  std::int64_t id = 0;
  std::int64_t run = 0;
  std::int64_t timeBase = 0;
  ValueClass valueClass = ValueClass::kDouble;
  std::uint64_t samples = 0;
  std::vector<std::uint64_t> shape{};
  std::uint64_t bytes = 0;          // of the values
  std::uint64_t metadataBytes = 0;  // 0 without metadata
  // Where these bytes lie in the file.
  std::int64_t firstPiece = 0;
  std::int64_t firstMetadataPiece = 0;
};

struct TimeBase {
  std::int64_t id = 0;
  ValueClass valueClass = ValueClass::kDouble;  // real numbers
  std::uint64_t samples = 0;
  std::int64_t firstPiece = 0;
};

// ---- Writing ----

// What happens to a file of the same name.
enum class Existing {
  kReplace,
  kKeep
};

// Writes a file, or adds to one. Nothing takes effect before commit(); without it the file is
// unchanged.
class KVR_RECORDING_EXPORT Writer {
 public:
  // A new file at `path`, in place of one that is there. It is made beside the target under another
  // name, readable to its owner alone, and gets the target's name and mode in commit(); it leaves a
  // symbolic link in place. Files that killed processes left there are removed.
  // `expectedBytes` of all samples, if known: from 32 MiB on the file uses larger pages, which are
  // faster. With kKeep, commit() throws SystemError (EEXIST) if there is a file by then.
  static Writer create(const std::string& path, std::uint64_t expectedBytes = 0,
                       Existing existing = Existing::kReplace);

  // Adds to the file at `path` in one transaction, and keeps other writers out until its end.
  static Writer append(const std::string& path);

  Writer(Writer&&) noexcept;
  Writer& operator=(Writer&&) noexcept;
  ~Writer();

  // Begins a run, and returns its id. Later signals are added to it.
  std::int64_t addRun(const Run& run);

  // Adds a signal to the last run, and returns its id. Times are real numbers without a shape, as
  // many as there are samples; equal times are kept once for all signals of the file. `metadata`
  // are bytes in a form of the caller's. Everything is copied. Cost: one pass over the bytes.
  // std::invalid_argument: no run, no real times, unlike counts, bytes that do not fit to class,
  // count and shape, a shape of more than 32 dimensions, texts that are too long or not UTF-8.
  std::int64_t addSignal(const Signal& signal, const Samples& times, const Samples& values,
                         std::span<const std::byte> metadata = {});

  // Makes a signal part of another one. std::invalid_argument: an id that is not in the file, a
  // signal that was in the file before, because readers may have it open; one that has a parent; a
  // cycle.
  void setParent(std::int64_t signal, std::int64_t parent);

  // Makes everything that was added take effect: when it returns, the file is complete and synced.
  // The writer cannot be used afterwards.
  void commit();

  class Impl;

 private:
  explicit Writer(std::unique_ptr<Impl> impl) noexcept;
  std::unique_ptr<Impl> impl_;
};

// ---- Reading ----

// An open file. It shows the runs that were there when it was opened. Memory: a constant amount,
// and what its functions return. Nothing it returns is larger than the file is long.
class KVR_RECORDING_EXPORT Reader {
 public:
  // Opens the file without changing it or its folder. Only if a process was killed while it added
  // runs is the file first put back to what it was before; that needs the right to write.
  explicit Reader(const std::string& path);
  Reader(Reader&&) noexcept;
  Reader& operator=(Reader&&) noexcept;
  ~Reader();

  std::int64_t runCount() const noexcept;
  std::int64_t signalCount() const noexcept;

  // Runs and signals with the ids first, first + 1, ..., which have to exist
  // (std::invalid_argument). Cost: about 3 microseconds each.
  std::vector<RunEntry> runs(std::int64_t first, std::int64_t count) const;
  std::vector<SignalEntry> signals(std::int64_t first, std::int64_t count) const;

  // The signal that this one is part of. FormatError if there is a cycle anywhere in the file. The
  // first call of either function reads all links.
  std::optional<std::int64_t> parent(std::int64_t signal) const;
  // The signals that are part of it, in rising order.
  std::vector<std::int64_t> children(std::int64_t signal) const;

  TimeBase timeBase(std::int64_t id) const;

  // Fill `to`, from byte number `from` on: of the times, of the values, of the metadata. The range
  // has to lie within the bytes that are there (std::invalid_argument). Every piece of 1 MiB that
  // the range touches is read whole and its sum is checked.
  void readTimes(const TimeBase& times, std::uint64_t from, std::span<std::byte> to) const;
  void readValues(const SignalEntry& signal, std::uint64_t from, std::span<std::byte> to) const;
  void readMetadata(const SignalEntry& signal, std::uint64_t from, std::span<std::byte> to) const;

  class Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

// ---- Checking ----

struct Problem {
  std::string what{};
  std::string where{};
};

// Told how many of `total` bytes are checked; may throw to end the check.
using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

// Reads everything: every row, sum, reference and length. Returns the first 100 problems, none for
// a sound file. Throws FormatError for a file that does not open.
KVR_RECORDING_EXPORT std::vector<Problem> verify(const std::string& path,
                                                 const Progress& progress = {});

}  // namespace kvr::recording
