#include "compare/values.h"

#include <cmath>
#include <limits>

namespace kvr::compare {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

double between(double a, double b, double weight) {
  if (a == b) return a;
  return std::isinf(b) ? kNaN : a + (b - a) * weight;
}

ValueReader::ValueReader(const Numbers& numbers, std::size_t components)
    : numbers_(numbers), components_(components), left_(kBlock), right_(kBlock) {
  if (numbers.imaginary == nullptr) return;
  leftImaginary_.resize(kBlock);
  rightImaginary_.resize(kBlock);
}

const double* ValueReader::part(Part part, const Places& places, std::size_t first,
                                std::size_t count, Components components, std::vector<double>& left,
                                std::vector<double>& right) {
  if (places.isRun) {
    const std::size_t sample = places.firstOfRun + first;
    const double* const data = inPlace(numbers_, components_, part);
    const bool isOneStretch = components.count == components_ || count == 1;
    if (data != nullptr && isOneStretch) return data + sample * components_ + components.first;
    copyRun(numbers_, part, sample, count, components, left.data());
    return left.data();
  }
  gather(numbers_, part, places.left.data() + first, count, components, left.data());
  if (!places.isHeld) {
    gather(numbers_, part, places.right.data() + first, count, components, right.data());
  }
  return left.data();
}

SideValues ValueReader::read(const Places& places, std::size_t first, std::size_t count,
                             Components components) {
  SideValues values{part(Part::kReal, places, first, count, components, left_, right_), nullptr};
  if (numbers_.imaginary != nullptr) {
    values.imaginary =
        part(Part::kImaginary, places, first, count, components, leftImaginary_, rightImaginary_);
  }
  if (places.isRun || places.isHeld) return values;
  const double* const weight = places.weight.data() + first;
  if (numbers_.imaginary == nullptr) {
    interpolate(weight, count, components.count);
  } else {
    interpolateComplex(places, first, count, components.count);
  }
  return values;
}

void ValueReader::interpolate(const double* weight, std::size_t count, std::size_t components) {
  double* const left = left_.data();
  const double* const right = right_.data();
  if (components == 1) {
    for (std::size_t k = 0; k < count; ++k) left[k] = between(left[k], right[k], weight[k]);
    return;
  }
  for (std::size_t k = 0; k < count; ++k) {
    for (std::size_t i = k * components; i < (k + 1) * components; ++i) {
      left[i] = between(left[i], right[i], weight[k]);
    }
  }
}

// A complex number counts as one: NaN or infinite if a part is, equal if both parts are.
void ValueReader::interpolateComplex(const Places& places, std::size_t first, std::size_t count,
                                     std::size_t components) {
  for (std::size_t i = 0; i < count * components; ++i) {
    const std::size_t k = first + i / components;
    if (places.left[k] == places.right[k]) continue;
    const double w = places.weight[k];
    double& a = left_[i];
    double& aImaginary = leftImaginary_[i];
    const double b = right_[i];
    const double bImaginary = rightImaginary_[i];
    if (a == b && aImaginary == bImaginary) continue;
    const bool isFinite = std::isfinite(a) && std::isfinite(aImaginary) && std::isfinite(b) &&
                          std::isfinite(bImaginary);
    a = isFinite ? a + (b - a) * w : kNaN;
    aImaginary = isFinite ? aImaginary + (bImaginary - aImaginary) * w : kNaN;
  }
}

}  // namespace kvr::compare
