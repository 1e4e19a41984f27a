#include "examples/recording_file.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace {

std::vector<std::string> splitRow(const std::string& row) {
  std::vector<std::string> cells;
  std::istringstream stream(row + ',');
  for (std::string cell; std::getline(stream, cell, ',');) cells.push_back(cell);
  return cells;
}

// "6/29/16"; years from 69 on are of the last century.
double dayNumber(const std::string& text) {
  using std::chrono::day, std::chrono::month, std::chrono::year;
  unsigned months = 0, days = 0;
  int years = 0;
  if (std::sscanf(text.c_str(), "%u/%u/%d", &months, &days, &years) != 3)  // NOLINT: three checked
    throw std::runtime_error("no date: " + text);
  const std::chrono::sys_days date =
      year(years + (years < 69 ? 2000 : 1900)) / month(months) / day(days);
  const std::chrono::sys_days zero = year(0) / month(1) / day(1);
  return static_cast<double>((date - zero).count());
}

double number(const std::string& cell) {
  return cell.empty() ? std::numeric_limits<double>::quiet_NaN() : std::stod(cell);
}

}  // namespace

Recording readRecording(const std::string& path) {
  std::ifstream file(path);
  std::string row;
  if (!std::getline(file, row)) throw std::runtime_error("cannot read " + path);
  const std::vector<std::string> header = splitRow(row);
  Recording recording;
  for (std::size_t i = 1; i < header.size(); ++i) recording.series.push_back({header[i], {}});
  while (std::getline(file, row)) {
    const std::vector<std::string> cells = splitRow(row);
    if (cells.size() != header.size()) throw std::runtime_error("malformed row: " + row);
    recording.time.push_back(dayNumber(cells[0]));
    for (std::size_t i = 1; i < cells.size(); ++i)
      recording.series[i - 1].values.push_back(number(cells[i]));
  }
  return recording;
}
