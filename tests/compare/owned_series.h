// Series for tests, each with the memory it stands in.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "compare/compare.h"
#include "tests/compare/plain_model.h"

namespace kvr::compare::test {

// How numbers lie in memory.
struct Layout {
  NumericClass numericClass = NumericClass::kDouble;
  bool isColumnMajor = false;  // all samples of a component together
  bool isInterleaved = true;   // complex parts side by side, else in two halves
  bool isReversed = false;     // the last sample first
  std::size_t gap = 0;         // unused bytes after each number
  std::size_t offset = 0;      // bytes before the first number
};

std::size_t sizeOf(NumericClass numericClass);

// The double that a value becomes when it is kept in this class; what no integer can hold is 0.
double kept(double value, NumericClass numericClass);

// n samples of m numbers in memory.
class OwnedNumbers {
 public:
  OwnedNumbers(const std::vector<plain::Sample>& samples, std::size_t components, bool isComplex,
               const Layout& layout);
  Numbers view() const { return numbers_; }

 private:
  std::vector<std::byte> bytes_;
  Numbers numbers_;
};

class OwnedSeries {
 public:
  // One real number a sample, doubles in a row.
  OwnedSeries(const std::vector<double>& times, const std::vector<double>& values);
  explicit OwnedSeries(const plain::Side& side, const Layout& layoutOfTimes = {},
                       const Layout& layoutOfValues = {});

  // The view may be changed; it must not outlive the series.
  Series view;

 private:
  std::vector<OwnedNumbers> memory_;
  std::vector<std::size_t> shape_;
};

// A side with one number a sample.
plain::Side sideOf(const std::vector<double>& times, const std::vector<double>& values);

}  // namespace kvr::compare::test
