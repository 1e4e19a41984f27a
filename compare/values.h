// The values of both sides at the instants of a block.
#pragma once

#include <cstddef>

#include "compare/buffer.h"
#include "compare/instants.h"
#include "compare/numbers.h"

namespace kvr::compare {

// Values of one side: one for each component of each instant. `imaginary` is null for real numbers.
struct SideValues {
  const double* real;
  const double* imaginary;
};

// At most kBlock values: some components of some consecutive instants.
struct Chunk {
  std::size_t firstInstant;  // counted from the first of the comparison
  std::size_t instants;
  const double* times;
  Components components;
  std::size_t allComponents;
  SideValues baseline, other;

  std::size_t size() const { return instants * components.count; }
  // The number of its first value among all values of the comparison.
  std::size_t firstValue() const { return firstInstant * allComponents + components.first; }
  std::size_t instantOf(std::size_t value) const { return value / components.count; }
  std::size_t componentOf(std::size_t value) const {
    return components.first + value % components.count;
  }
};

// Reads the values of one side, in place where they lie as a C array of double.
class ValueReader {
 public:
  ValueReader(const Numbers& numbers, std::size_t components);

  // Instants `first` to `first + count - 1` of a block: all of them if a sample is one real number.
  // Valid until the next call.
  SideValues read(const InstantBlock& block, Places& places, std::size_t first, std::size_t count,
                  Components components);

 private:
  const double* part(Part part, const Places& places, std::size_t first, std::size_t count,
                     Components components, Buffer<double>& left, Buffer<double>& right);
  const double* window(const Cursor& side);
  SideValues sample(const InstantBlock& block, const Places& places);
  void interpolate(const double* weight, std::size_t count, std::size_t components);
  void interpolateComplex(const Places& places, std::size_t first, std::size_t count,
                          std::size_t components);

  Numbers numbers_;
  std::size_t components_;
  Buffer<double> window_;
  Buffer<double> left_, right_;
  Buffer<double> leftImaginary_, rightImaginary_;  // of complex numbers only
};

}  // namespace kvr::compare
