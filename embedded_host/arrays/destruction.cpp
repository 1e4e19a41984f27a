// The end of arrays. Parts are queued, not destroyed by recursion, for arrays may be nested deeper
// than the stack. The end of a handle's object may destroy further arrays; they join the queue.
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/storage.h"
#include "kvrntob/host/libhu.h"

namespace vormel {
namespace {

vrArray* doomed = nullptr;
bool isDraining = false;

void releaseContents(vrArray* array) noexcept {
  if (hasElements(array)) {
    if (!array->isSmall) releaseBlock(array->block);
  } else {
    releaseNames(array->names);
    if (hasParts(array)) {
      releaseContainer(array->container);
    } else if (array->target != nullptr) {
      array->target->release();
    }
  }
  if (array->dimensionCount != 2) huFree(array->list);
  --liveArrays;
}

void freeArray(vrArray* array) noexcept {
  releaseContents(array);
  huFree(array);
}

// Elements end nothing else: they need not wait.
void doom(vrArray* array) noexcept {
  if (hasElements(array)) return freeArray(array);
  array->next = doomed;
  doomed = array;
}

void drain() noexcept {
  if (doomed == nullptr || std::exchange(isDraining, true)) return;
  while (doomed != nullptr) freeArray(std::exchange(doomed, doomed->next));
  isDraining = false;
}

}  // namespace

std::size_t liveArrays = 0;

std::size_t liveArrayCount() noexcept { return liveArrays; }

void releaseNames(Names* names) noexcept {
  if (names != nullptr && --names->references == 0) delete names;
}

void releaseBlock(Block* block) noexcept {
  if (--block->references == 0) huFree(block);
}

void releaseContainer(Container* container) noexcept {
  if (container == nullptr || --container->references > 0) return;
  for (std::size_t i = 0; i < container->count; ++i) {
    if (vrArray* part = container->parts()[i]) doom(part);
  }
  huFree(container);
  drain();
}

}  // namespace vormel

void vrDestroyArray(vrArray* array) {
  if (array == nullptr) return;
  vormel::CallScope::detach(array);
  vormel::doom(array);
  vormel::drain();
}
