// The shape of a sample.
#pragma once

#include <cstddef>
#include <span>

namespace kvr::compare {

// Numbers in a sample of this shape.
std::size_t componentsOf(std::span<const std::size_t> shape);

// Whether two shapes are equal but for trailing ones of 1.
bool sameShape(std::span<const std::size_t> left, std::span<const std::size_t> right);

}  // namespace kvr::compare
