#include "compare/numbers.h"

#include <cstdint>
#include <cstring>

namespace kvr::compare {
namespace {

const std::byte* startOf(const Numbers& numbers, Part part) {
  return static_cast<const std::byte*>(part == Part::kReal ? numbers.real : numbers.imaginary);
}

template <class T>
double load(const std::byte* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return static_cast<double>(value);
}

struct Logical {};
template <>
double load<Logical>(const std::byte* from) {
  return *from == std::byte{0} ? 0.0 : 1.0;
}

// Calls `action` with the loader of the class.
template <class Action>
auto withLoader(NumericClass numericClass, Action&& action) {
  switch (numericClass) {
    case NumericClass::kLogical:
      return action(load<Logical>);
    case NumericClass::kInt8:
      return action(load<std::int8_t>);
    case NumericClass::kUint8:
      return action(load<std::uint8_t>);
    case NumericClass::kInt16:
      return action(load<std::int16_t>);
    case NumericClass::kUint16:
      return action(load<std::uint16_t>);
    case NumericClass::kInt32:
      return action(load<std::int32_t>);
    case NumericClass::kUint32:
      return action(load<std::uint32_t>);
    case NumericClass::kInt64:
      return action(load<std::int64_t>);
    case NumericClass::kUint64:
      return action(load<std::uint64_t>);
    case NumericClass::kSingle:
      return action(load<float>);
    case NumericClass::kDouble:
      break;
  }
  return action(load<double>);
}

std::ptrdiff_t signedOf(std::size_t index) { return static_cast<std::ptrdiff_t>(index); }

}  // namespace

double numberAt(const Numbers& numbers, std::size_t sample, std::size_t component, Part part) {
  const std::byte* const from = startOf(numbers, part) + signedOf(sample) * numbers.sampleStride +
                                signedOf(component) * numbers.componentStride;
  return withLoader(numbers.numericClass, [from](auto loader) { return loader(from); });
}

const double* inPlace(const Numbers& numbers, std::size_t components, Part part) {
  const std::byte* const start = startOf(numbers, part);
  const bool isPacked = numbers.numericClass == NumericClass::kDouble &&
                        numbers.sampleStride == signedOf(components * sizeof(double)) &&
                        (components == 1 || numbers.componentStride == signedOf(sizeof(double))) &&
                        reinterpret_cast<std::uintptr_t>(start) % alignof(double) == 0;
  return isPacked ? reinterpret_cast<const double*>(start) : nullptr;
}

namespace {

// Copies samples whose numbers `sampleOf` gives.
template <class SampleOf>
void copy(const Numbers& numbers, Part part, SampleOf sampleOf, std::size_t count,
          Components components, double* to) {
  const std::byte* const start =
      startOf(numbers, part) + signedOf(components.first) * numbers.componentStride;
  const std::ptrdiff_t sampleStride = numbers.sampleStride;
  const std::ptrdiff_t componentStride = numbers.componentStride;
  withLoader(numbers.numericClass, [=](auto loader) {
    if (components.count == 1) {
      for (std::size_t k = 0; k < count; ++k) to[k] = loader(start + sampleOf(k) * sampleStride);
      return;
    }
    double* next = to;
    for (std::size_t k = 0; k < count; ++k) {
      const std::byte* from = start + sampleOf(k) * sampleStride;
      for (std::size_t c = 0; c < components.count; ++c, from += componentStride) {
        *next++ = loader(from);
      }
    }
  });
}

}  // namespace

void gather(const Numbers& numbers, Part part, const std::size_t* samples, std::size_t count,
            Components components, double* to) {
  const double* const data = components.count == 1 ? inPlace(numbers, 1, part) : nullptr;
  if (data != nullptr) {
    for (std::size_t k = 0; k < count; ++k) to[k] = data[samples[k]];
    return;
  }
  copy(
      numbers, part, [samples](std::size_t k) { return signedOf(samples[k]); }, count, components,
      to);
}

void copyRun(const Numbers& numbers, Part part, std::size_t firstSample, std::size_t count,
             Components components, double* to) {
  copy(
      numbers, part, [firstSample](std::size_t k) { return signedOf(firstSample + k); }, count,
      components, to);
}

}  // namespace kvr::compare
