// Tolerances and synchronisation options as rows, equal ones once.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "recording/recording.h"
#include "recording/rows.h"

namespace kvr::recording {

class KnownSettings {
 public:
  KnownSettings(const Connection& connection, std::int64_t tolerances, std::int64_t syncs);

  // The id of the row with these settings; writes it if there is none.
  std::int64_t idOf(const Tolerance& tolerance);
  std::int64_t idOf(const Sync& sync);
  std::int64_t tolerances() const noexcept { return lastTolerance_; }
  std::int64_t syncs() const noexcept { return lastSync_; }

 private:
  RowWriter insertTolerance_;
  RowWriter insertSync_;
  std::int64_t lastTolerance_;
  std::int64_t lastSync_;
  std::map<std::string, std::int64_t> byContent_;
};

class SettingsReader {
 public:
  explicit SettingsReader(const Connection& connection);

  Tolerance tolerance(std::int64_t id);
  Sync sync(std::int64_t id);

 private:
  Statement selectTolerance_;
  Statement selectSync_;
  RowBytes bytes_;
};

}  // namespace kvr::recording
