// A recording as the files in examples/data hold it: a column of months, then a column a series.
#pragma once

#include <string>
#include <vector>

struct Series {
  std::string name;
  std::vector<double> values;  // one a month; NaN where the file has a gap
};

struct Recording {
  std::vector<double> time;  // months, in days since the first of January of year 0
  std::vector<Series> series;
};

// Throws std::runtime_error if the file cannot be read or a row is malformed.
Recording readRecording(const std::string& path);
