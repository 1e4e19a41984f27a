#include "compare/values.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "compare/kernels.h"

namespace kvr::compare {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

ValueReader::ValueReader(const Numbers& numbers, std::size_t components)
    : numbers_(numbers),
      components_(components),
      window_(kWindow),
      left_(kBlock),
      right_(kBlock),
      leftImaginary_(numbers_.imaginary == nullptr ? 0 : kBlock),
      rightImaginary_(numbers_.imaginary == nullptr ? 0 : kBlock) {}

const double* ValueReader::part(Part part, const Places& places, std::size_t first,
                                std::size_t count, Components components, Buffer<double>& left,
                                Buffer<double>& right) {
  if (places.form == Places::Form::kRun) {
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

// The values of the samples in a window; 0 past the end of the side.
const double* ValueReader::window(const Cursor& side) {
  const double* const data = inPlace(numbers_, 1);
  if (data != nullptr && side.base + side.length <= side.samples) return data + side.base;
  const std::size_t there = std::min(side.length, side.samples - side.base);
  copyRun(numbers_, Part::kReal, side.base, there, {0, 1}, window_.data());
  std::fill(window_.data() + there, window_.data() + side.length, 0.0);
  return window_.data();
}

SideValues ValueReader::sample(const InstantBlock& block, const Places& places) {
  const Cursor& side = places.side;
  const double* const values = window(side);
  if (values != window_.data()) {
    // As many again will be used by the next block.
    const std::size_t used = places.passed[block.count - 1];
    prefetch(values + used, std::min(used, side.samples - side.base - used));
  }
  if (places.isHeld) {
    kernels().heldAt(values, places.passed.data(), block.count, left_.data());
  } else {
    kernels().linearAt({side.window, values}, block.times, places.passed.data(), block.count,
                       left_.data());
  }
  return {left_.data(), nullptr};
}

SideValues ValueReader::read(const InstantBlock& block, Places& places, std::size_t first,
                             std::size_t count, Components components) {
  const bool isPlain = components_ == 1 && numbers_.imaginary == nullptr;
  if (isPlain && places.form == Places::Form::kPassed) return sample(block, places);
  places.list(block.times, block.count);
  SideValues values{part(Part::kReal, places, first, count, components, left_, right_), nullptr};
  if (numbers_.imaginary != nullptr) {
    values.imaginary =
        part(Part::kImaginary, places, first, count, components, leftImaginary_, rightImaginary_);
  }
  if (places.form == Places::Form::kRun || places.isHeld) return values;
  if (numbers_.imaginary == nullptr) {
    interpolate(places.weight.data() + first, count, components.count);
  } else {
    interpolateComplex(places, first, count, components.count);
  }
  return values;
}

void ValueReader::interpolate(const double* weight, std::size_t count, std::size_t components) {
  double* const left = left_.data();
  const double* const right = right_.data();
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
