#include "compare/shape.h"

#include <algorithm>

namespace kvr::compare {
namespace {

std::span<const std::size_t> withoutTrailingOnes(std::span<const std::size_t> shape) {
  while (!shape.empty() && shape.back() == 1) shape = shape.first(shape.size() - 1);
  return shape;
}

}  // namespace

std::size_t componentsOf(std::span<const std::size_t> shape) {
  std::size_t product = 1;
  for (const std::size_t extent : shape) product *= extent;
  return product;
}

bool sameShape(std::span<const std::size_t> left, std::span<const std::size_t> right) {
  left = withoutTrailingOnes(left);
  right = withoutTrailingOnes(right);
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

}  // namespace kvr::compare
