#include "tests/compare/owned_series.h"

#include <cmath>
#include <limits>

namespace kvr::compare::test {
namespace {

template <class T>
void storeInteger(std::byte* to, double value) {
  const auto low = static_cast<double>(std::numeric_limits<T>::min());
  const double high = std::ldexp(1.0, std::numeric_limits<T>::digits);
  const T number = value >= low && value < high ? static_cast<T>(value) : T{0};
  std::memcpy(to, &number, sizeof number);
}

void store(std::byte* to, double value, NumericClass numericClass) {
  switch (numericClass) {
    case NumericClass::kLogical:
      *to = static_cast<std::byte>(value == 0.0 || std::isnan(value) ? 0 : 2);
      return;
    case NumericClass::kInt8:
      return storeInteger<std::int8_t>(to, value);
    case NumericClass::kUint8:
      return storeInteger<std::uint8_t>(to, value);
    case NumericClass::kInt16:
      return storeInteger<std::int16_t>(to, value);
    case NumericClass::kUint16:
      return storeInteger<std::uint16_t>(to, value);
    case NumericClass::kInt32:
      return storeInteger<std::int32_t>(to, value);
    case NumericClass::kUint32:
      return storeInteger<std::uint32_t>(to, value);
    case NumericClass::kInt64:
      return storeInteger<std::int64_t>(to, value);
    case NumericClass::kUint64:
      return storeInteger<std::uint64_t>(to, value);
    case NumericClass::kSingle: {
      const double most = std::numeric_limits<float>::max();
      const bool fits = !(std::abs(value) > most) || std::isinf(value);
      const float number = fits ? static_cast<float>(value) : 0.0F;
      std::memcpy(to, &number, sizeof number);
      return;
    }
    case NumericClass::kDouble:
      std::memcpy(to, &value, sizeof value);
      return;
  }
}

}  // namespace

std::size_t sizeOf(NumericClass numericClass) {
  switch (numericClass) {
    case NumericClass::kLogical:
    case NumericClass::kInt8:
    case NumericClass::kUint8:
      return 1;
    case NumericClass::kInt16:
    case NumericClass::kUint16:
      return 2;
    case NumericClass::kInt32:
    case NumericClass::kUint32:
    case NumericClass::kSingle:
      return 4;
    default:
      return 8;
  }
}

double kept(double value, NumericClass numericClass) {
  if (numericClass == NumericClass::kDouble) return value;
  if (numericClass == NumericClass::kLogical) return value == 0.0 || std::isnan(value) ? 0.0 : 1.0;
  std::byte bytes[8];
  store(bytes, value, numericClass);
  if (numericClass == NumericClass::kSingle) {
    float number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
  }
  const int digits = static_cast<int>(sizeOf(numericClass) * 8);
  const bool isSigned =
      numericClass == NumericClass::kInt8 || numericClass == NumericClass::kInt16 ||
      numericClass == NumericClass::kInt32 || numericClass == NumericClass::kInt64;
  const double low = isSigned ? -std::ldexp(1.0, digits - 1) : 0.0;
  const double high = std::ldexp(1.0, isSigned ? digits - 1 : digits);
  const bool fits = value >= low && value < high;
  return fits ? std::trunc(value) + 0.0 : 0.0;
}

OwnedNumbers::OwnedNumbers(const std::vector<plain::Sample>& samples, std::size_t components,
                           bool isComplex, const Layout& layout) {
  const std::size_t n = samples.size();
  const std::size_t parts = isComplex && layout.isInterleaved ? 2 : 1;
  const std::size_t size = sizeOf(layout.numericClass);
  const std::size_t step = parts * (size + layout.gap);
  const std::size_t half = n * components * step;
  bytes_.resize(layout.offset + 2 * half + 16);
  const std::size_t sampleStride = layout.isColumnMajor ? step : step * components;
  const std::size_t componentStride = layout.isColumnMajor ? step * n : step;
  std::byte* start = bytes_.data() + layout.offset;
  std::byte* const imaginary = start + (layout.isInterleaved ? size + layout.gap : half);
  const auto placeOf = [&](std::size_t i, std::size_t c) {
    return (layout.isReversed ? n - 1 - i : i) * sampleStride + c * componentStride;
  };
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t c = 0; c < components; ++c) {
      store(start + placeOf(i, c), samples[i][c].real(), layout.numericClass);
      if (isComplex) {
        store(imaginary + placeOf(i, c), samples[i][c].imag(), layout.numericClass);
      }
    }
  }
  const std::size_t first = n == 0 ? 0 : placeOf(0, 0);
  numbers_.real = start + first;
  numbers_.imaginary = isComplex ? imaginary + first : nullptr;
  numbers_.numericClass = layout.numericClass;
  numbers_.sampleStride = static_cast<std::ptrdiff_t>(sampleStride) * (layout.isReversed ? -1 : 1);
  numbers_.componentStride = static_cast<std::ptrdiff_t>(componentStride);
}

OwnedSeries::OwnedSeries(const std::vector<double>& times, const std::vector<double>& values)
    : OwnedSeries(sideOf(times, values)) {}

OwnedSeries::OwnedSeries(const plain::Side& side, const Layout& layoutOfTimes,
                         const Layout& layoutOfValues)
    : shape_{side.components} {
  std::vector<plain::Sample> times;
  for (const double t : side.times) times.push_back({t});
  memory_.emplace_back(times, 1, false, layoutOfTimes);
  memory_.emplace_back(side.samples, side.components, side.isComplex, layoutOfValues);
  view.times = memory_[0].view();
  view.timeCount = side.times.size();
  view.values = memory_[1].view();
  view.samples = side.samples.size();
  view.shape = shape_;
}

plain::Side sideOf(const std::vector<double>& times, const std::vector<double>& values) {
  plain::Side side;
  side.times = times;
  for (const double value : values) side.samples.push_back({value});
  return side;
}

}  // namespace kvr::compare::test
