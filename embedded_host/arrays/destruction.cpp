// The end of arrays. Parts are queued, not destroyed by recursion, for arrays may be nested deeper
// than the stack. The end of a handle's object may destroy further arrays; they join the queue.
//
// The end of an object runs a module's code, which needs the host for itself: a handle that is let
// go of outside of any call waits until no thread is inside.
#include <atomic>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/arrays/storage.h"
#include "kvrntob/host/libhu.h"

namespace vormel {
namespace {

vrArray* doomed = nullptr;
bool isDraining = false;

// Handles that were let go of outside of any call, the latest first.
constinit std::atomic<vrArray*> waiting = nullptr;

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
  countArrays(-1);
}

void freeArray(vrArray* array) noexcept {
  releaseContents(array);
  huFree(array);
}

bool isHandle(const vrArray* array) noexcept {
  return !hasElements(array) && !hasParts(array) && array->target != nullptr;
}

void awaitTurn(vrArray* handle) noexcept {
  handle->next = waiting.load(std::memory_order_relaxed);
  while (!waiting.compare_exchange_weak(handle->next, handle, std::memory_order_release,
                                        std::memory_order_relaxed)) {
  }
  endWaitingHandlesIfFree();
}

// Elements end nothing else: they need not wait.
void doom(vrArray* array) noexcept {
  if (hasElements(array)) return freeArray(array);
  if (isHandle(array) && !isInside()) return awaitTurn(array);
  array->next = doomed;
  doomed = array;
}

void drain() noexcept {
  if (doomed == nullptr || std::exchange(isDraining, true)) return;
  while (doomed != nullptr) freeArray(std::exchange(doomed, doomed->next));
  isDraining = false;
}

}  // namespace

constinit std::atomic<std::size_t> liveArrays = 0;

std::size_t liveArrayCount() noexcept { return liveArrays.load(std::memory_order_relaxed); }

void endWaitingHandles() noexcept {
  while (waiting.load(std::memory_order_relaxed) != nullptr) {
    vrArray* handle = waiting.exchange(nullptr, std::memory_order_acquire);
    while (handle != nullptr) freeArray(std::exchange(handle, handle->next));
  }
}

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
  // From outside a handle touches nothing but what is made for several threads.
  if (vormel::isHandle(array) && !vormel::isInside()) return vormel::awaitTurn(array);
  vormel::doom(array);
  vormel::drain();
}
