// Calls the functions that a caller registered, and checks what they return.
#pragma once

#include <cstddef>
#include <vector>

#include "compare/times.h"
#include "compare/values.h"

namespace kvr::compare {

// The instants that the sync function gives; the times must be checked. Throws Incomparable
// kFunctionFailed if it fails or returns a time that is NaN, infinite or falls.
std::vector<double> customInstants(const SyncFunction& function, const Times& baseline,
                                   const Times& other);

// All instants with the values of both sides, for a tolerance function.
class CollectedValues {
 public:
  explicit CollectedValues(std::size_t components) : components_(components) {}

  void addTimes(const double* times, std::size_t count);
  void add(const Chunk& chunk);

  // One tolerance a value. Throws Incomparable kFunctionFailed if the function fails or returns
  // another number of tolerances, a negative one, or NaN where the baseline is a number.
  std::vector<double> callFor(const ToleranceFunction& function) const;

  std::size_t instants() const { return times_.size(); }

  // The chunk that these instants and components make.
  Chunk chunk(std::size_t firstInstant, std::size_t count, Components components) const;

 private:
  bool isNaN(std::size_t value) const;

  std::size_t components_;
  std::vector<double> times_;
  std::vector<double> baseline_, baselineImaginary_, other_, otherImaginary_;
};

}  // namespace kvr::compare
