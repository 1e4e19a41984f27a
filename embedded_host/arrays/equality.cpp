// Comparing arrays, at every depth.
#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "embedded_host/arrays/class_table.h"
#include "embedded_host/arrays/storage.h"

namespace vormel {
namespace {

using Pair = std::pair<const vrArray*, const vrArray*>;

bool haveEqualNames(const vrArray* a, const vrArray* b) {
  if (a->names == b->names) return true;
  return a->names != nullptr && b->names != nullptr && a->names->title == b->names->title &&
         a->names->fields == b->names->fields;
}

bool haveEqualElements(const vrArray* a, const vrArray* b) {
  const std::size_t bytes = elementSize(a->classID) * countOf(a);
  return std::memcmp(elements(a), elements(b), bytes) == 0 &&
         (!a->isComplex || std::memcmp(imaginaryElements(a), imaginaryElements(b), bytes) == 0);
}

// Class, shape, complexity, names and whatever is no part.
bool areEqualApart(const vrArray* a, const vrArray* b) {
  if (a->classID != b->classID || a->isComplex != b->isComplex ||
      !std::equal(dimensionsOf(a), dimensionsOf(a) + a->dimensionCount, dimensionsOf(b),
                  dimensionsOf(b) + b->dimensionCount)) {
    return false;
  }
  if (hasElements(a)) return haveEqualElements(a, b);
  return haveEqualNames(a, b) && (hasParts(a) || a->target == b->target);
}

}  // namespace

bool equal(const vrArray* a, const vrArray* b) {
  std::vector<Pair> waiting{{a, b}};
  while (!waiting.empty()) {
    const auto [left, right] = waiting.back();
    waiting.pop_back();
    if (left == right) continue;
    if (!areEqualApart(left, right)) return false;
    if (!hasParts(left) || left->container == right->container) continue;
    for (std::size_t i = 0; i < left->container->count; ++i) {
      const vrArray* part = left->container->parts()[i];
      const vrArray* other = right->container->parts()[i];
      waiting.emplace_back(part != nullptr ? part : &unsetPart,
                           other != nullptr ? other : &unsetPart);
    }
  }
  return true;
}

}  // namespace vormel
