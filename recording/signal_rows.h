// The rows of runs and signals, checked against the contents of the file.
#pragma once

#include <cstdint>
#include <vector>

#include "recording/recording.h"
#include "recording/rows.h"
#include "recording/settings.h"

namespace kvr::recording {

// Reads rows of successive ids, or, for a check of all, one by one.
class EntryReader {
 public:
  // `fileBytes` is the length of the file: no bytes of a signal are more.
  EntryReader(const Connection& connection, const Contents& contents, std::uint64_t fileBytes);

  std::vector<RunEntry> runs(std::int64_t first, std::int64_t count);
  std::vector<SignalEntry> signals(std::int64_t first, std::int64_t count);
  TimeBase timeBase(std::int64_t id);

 private:
  RunEntry readRun(std::int64_t id);
  SignalEntry readSignal(std::int64_t id);
  void readKind(RowReader& row, SignalEntry& signal);
  std::int64_t readFirstPiece(RowReader& row, std::uint64_t bytes) const;
  std::uint64_t readSize(RowReader& row) const;

  const Contents& contents_;
  std::uint64_t fileBytes_;
  SettingsReader settings_;
  Statement selectRuns_;
  Statement selectSignals_;
  Statement selectTimeBase_;
  RowBytes bytes_;
};

}  // namespace kvr::recording
