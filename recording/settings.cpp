#include "recording/settings.h"

#include <array>
#include <bit>
#include <cmath>

namespace kvr::recording {
namespace {

// In the order of the columns.
constexpr std::array<double Tolerance::*, 9> numbers{
    &Tolerance::absolute,     &Tolerance::relative,
    &Tolerance::start,        &Tolerance::end,
    &Tolerance::step,         &Tolerance::initialAbsolute,
    &Tolerance::absoluteStep, &Tolerance::initialRelative,
    &Tolerance::relativeStep};

// Texts that are equal where rows would be.
std::string keyOf(double number) {
  if (std::isnan(number)) return "n;";
  return std::to_string(std::bit_cast<std::uint64_t>(number + 0.0)) + ";";
}

std::string keyOf(const std::string& text) { return std::to_string(text.size()) + ":" + text; }

std::string keyOf(const Tolerance& tolerance) {
  std::string key = "t" + std::to_string(tolerance.type) + ";";
  for (const auto number : numbers) key += keyOf(tolerance.*number);
  return key + keyOf(tolerance.function);
}

std::string keyOf(const Sync& sync) {
  return "s" + std::to_string(sync.type) + ";" + keyOf(sync.method) + keyOf(sync.interp) +
         keyOf(sync.interval) + keyOf(sync.function);
}

}  // namespace

KnownSettings::KnownSettings(const Connection& connection, std::int64_t tolerances,
                             std::int64_t syncs)
    : insertTolerance_(connection,
                       "INSERT INTO tolerance VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10,?11,?12,?13)"),
      insertSync_(connection, "INSERT INTO sync VALUES(?1,?2,?3,?4,?5,?6,?7)"),
      lastTolerance_(tolerances),
      lastSync_(syncs) {
  if (tolerances == 0 && syncs == 0) return;
  SettingsReader reader(connection);
  for (std::int64_t id = 1; id <= tolerances; ++id)
    byContent_.emplace(keyOf(reader.tolerance(id)), id);
  for (std::int64_t id = 1; id <= syncs; ++id) byContent_.emplace(keyOf(reader.sync(id)), id);
}

std::int64_t KnownSettings::idOf(const Tolerance& tolerance) {
  std::string key = keyOf(tolerance);
  if (const auto known = byContent_.find(key); known != byContent_.end()) return known->second;
  const std::int64_t id = lastTolerance_ + 1;
  insertTolerance_.integer(id).integer(tolerance.type);
  for (const auto number : numbers) insertTolerance_.real(tolerance.*number);
  insertTolerance_.text(tolerance.function).write();
  byContent_.emplace(std::move(key), id);
  return lastTolerance_ = id;
}

std::int64_t KnownSettings::idOf(const Sync& sync) {
  std::string key = keyOf(sync);
  if (const auto known = byContent_.find(key); known != byContent_.end()) return known->second;
  const std::int64_t id = lastSync_ + 1;
  insertSync_.integer(id).integer(sync.type).text(sync.method).text(sync.interp);
  insertSync_.real(sync.interval).text(sync.function).write();
  byContent_.emplace(std::move(key), id);
  return lastSync_ = id;
}

SettingsReader::SettingsReader(const Connection& connection)
    : selectTolerance_(connection.prepare(
          "SELECT id,type,absolute,relative,start,\"end\",step,initial_absolute,absolute_step,"
          "initial_relative,relative_step,function,sum FROM tolerance WHERE id=?1")),
      selectSync_(connection.prepare(
          "SELECT id,type,method,interp,interval,function,sum FROM sync WHERE id=?1")) {}

Tolerance SettingsReader::tolerance(std::int64_t id) {
  const Resetting afterwards(selectTolerance_);
  selectTolerance_.bind(1, id);
  RowReader row(selectTolerance_, bytes_, "tolerance", id);
  if (!selectTolerance_.step()) row.fail("is missing");
  row.integer(id, id);
  Tolerance found;
  found.type = static_cast<std::int32_t>(row.integer(INT32_MIN, INT32_MAX));
  for (const auto number : numbers) found.*number = row.real();
  found.function = row.text();
  row.end();
  return found;
}

Sync SettingsReader::sync(std::int64_t id) {
  const Resetting afterwards(selectSync_);
  selectSync_.bind(1, id);
  RowReader row(selectSync_, bytes_, "sync", id);
  if (!selectSync_.step()) row.fail("is missing");
  row.integer(id, id);
  Sync found;
  found.type = static_cast<std::int32_t>(row.integer(INT32_MIN, INT32_MAX));
  found.method = row.text();
  found.interp = row.text();
  found.interval = row.real();
  found.function = row.text();
  row.end();
  return found;
}

}  // namespace kvr::recording
