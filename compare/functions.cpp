#include "compare/functions.h"

#include <cmath>
#include <exception>
#include <string>

#include "compare/reason.h"

namespace kvr::compare {
namespace {

[[noreturn]] void raiseFailed(const std::string& text) {
  throw Incomparable{Reason::kFunctionFailed, text};
}

// What the function returns, its exceptions as a reason.
template <class Call>
std::vector<double> resultOf(Call&& call) {
  try {
    return call();
  } catch (const Stopped&) {
    throw;
  } catch (const std::exception& failure) {
    raiseFailed(failure.what());
  } catch (...) {
    raiseFailed("the function raised something that is not an exception");
  }
}

}  // namespace

std::vector<double> customInstants(const SyncFunction& function, const Times& baseline,
                                   const Times& other) {
  std::vector<double> copyOfBaseline;
  std::vector<double> copyOfOther;
  const std::span<const double> baselineTimes = baseline.whole(copyOfBaseline);
  const std::span<const double> otherTimes = other.whole(copyOfOther);
  std::vector<double> instants = resultOf([&] { return function(baselineTimes, otherTimes); });
  for (std::size_t i = 0; i < instants.size(); ++i) {
    const std::string which = "the sync function returned a time, number " + std::to_string(i);
    if (!std::isfinite(instants[i])) raiseFailed(which + ", that is not finite");
    if (i > 0 && instants[i] < instants[i - 1]) raiseFailed(which + ", before the one before");
  }
  return instants;
}

void CollectedValues::addTimes(const double* times, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) times_.push_back(times[k] + 0.0);
}

void CollectedValues::add(const Chunk& chunk) {
  const auto append = [&](std::vector<double>& to, const double* from) {
    if (from != nullptr) to.insert(to.end(), from, from + chunk.size());
  };
  append(baseline_, chunk.baseline.real);
  append(baselineImaginary_, chunk.baseline.imaginary);
  append(other_, chunk.other.real);
  append(otherImaginary_, chunk.other.imaginary);
}

bool CollectedValues::isNaN(std::size_t value) const {
  return std::isnan(baseline_[value]) ||
         (!baselineImaginary_.empty() && std::isnan(baselineImaginary_[value]));
}

std::vector<double> CollectedValues::callFor(const ToleranceFunction& function) const {
  std::vector<double> given = resultOf([this, &function] {
    return function({times_, components_, baseline_, baselineImaginary_, other_, otherImaginary_});
  });
  const std::size_t values = times_.size() * components_;
  if (given.size() != times_.size() && given.size() != values) {
    raiseFailed("the tolerance function returned " + std::to_string(given.size()) +
                " tolerances for " + std::to_string(times_.size()) + " instants of " +
                std::to_string(components_) + " components");
  }
  for (const double tolerance : given) {
    if (tolerance < 0) raiseFailed("the tolerance function returned a negative tolerance");
  }
  std::vector<double> perValue(values);
  for (std::size_t i = 0; i < values; ++i) {
    perValue[i] = given.size() == values ? given[i] : given[i / components_];
    if (std::isnan(perValue[i]) && !isNaN(i)) {
      raiseFailed("the tolerance function returned NaN where the baseline is a number");
    }
  }
  return perValue;
}

Chunk CollectedValues::chunk(std::size_t firstInstant, std::size_t count,
                             Components components) const {
  const std::size_t at = firstInstant * components_ + components.first;
  const auto from = [at](const std::vector<double>& values) {
    return values.empty() ? nullptr : values.data() + at;
  };
  return {firstInstant,
          count,
          times_.data() + firstInstant,
          components,
          components_,
          {from(baseline_), from(baselineImaginary_)},
          {from(other_), from(otherImaginary_)}};
}

}  // namespace kvr::compare
