// Reads numbers of any class and layout as doubles.
#pragma once

#include <cstddef>

#include "compare/compare.h"

namespace kvr::compare {

// Most values that are looked at together; everything kept per value has this many entries.
inline constexpr std::size_t kBlock = 1024;

enum class Part {
  kReal,
  kImaginary
};

// Number `component` of sample `sample`.
double numberAt(const Numbers& numbers, std::size_t sample, std::size_t component = 0,
                Part part = Part::kReal);

// The real numbers themselves if they are doubles that lie as in a C array of samples with
// `components` numbers each, else null.
const double* inPlace(const Numbers& numbers, std::size_t components, Part part = Part::kReal);

// Tells the processor that these doubles will be read next. Sources of instants turn from one array
// to another with every block, and what the processor predicts by itself ends each time.
inline void prefetch(const double* from, std::size_t count) {
  constexpr std::size_t kPerLine = 64 / sizeof(double);
  for (std::size_t i = 0; i < count; i += kPerLine) __builtin_prefetch(from + i, 0, 2);
}

// A range of the components of a sample.
struct Components {
  std::size_t first;
  std::size_t count;
};

// Copies the components of the given samples, one sample after the other.
void gather(const Numbers& numbers, Part part, const std::size_t* samples, std::size_t count,
            Components components, double* to);

// Copies the components of `count` consecutive samples.
void copyRun(const Numbers& numbers, Part part, std::size_t firstSample, std::size_t count,
             Components components, double* to);

}  // namespace kvr::compare
