// Destroying arrays. Parts are queued, not destroyed by recursion, since arrays can be nested
// deeper than the stack allows. An object that ends with its last handle may destroy further
// arrays; they join the queue.
//
// The end of an object runs code of a module, which needs the host for itself. The destruction of a
// handle outside of any call is therefore deferred until no thread is inside.
#include <atomic>
#include <utility>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "embedded_host/arrays/storage.h"
#include "kvrntob/host/libhu.h"

namespace vormel {
namespace {

vrArray* queue = nullptr;  // linked by `next`
bool isDraining = false;

// Handles that were destroyed outside of any call, the latest first.
constinit std::atomic<vrArray*> deferredHandles = nullptr;

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

void defer(vrArray* handle) noexcept {
  handle->next = deferredHandles.load(std::memory_order_relaxed);
  while (!deferredHandles.compare_exchange_weak(handle->next, handle, std::memory_order_release,
                                                std::memory_order_relaxed)) {
  }
  destroyDeferredHandlesIfFree();
}

// An array of elements refers to nothing else and is freed at once.
void enqueue(vrArray* array) noexcept {
  if (hasElements(array)) return freeArray(array);
  if (isHandle(array) && !isInside()) return defer(array);
  array->next = queue;
  queue = array;
}

void drainQueue() noexcept {
  if (queue == nullptr || std::exchange(isDraining, true)) return;
  while (queue != nullptr) freeArray(std::exchange(queue, queue->next));
  isDraining = false;
}

}  // namespace

constinit std::atomic<std::size_t> liveArrays = 0;

std::size_t liveArrayCount() noexcept { return liveArrays.load(std::memory_order_relaxed); }

void destroyDeferredHandles() noexcept {
  while (deferredHandles.load(std::memory_order_relaxed) != nullptr) {
    vrArray* handle = deferredHandles.exchange(nullptr, std::memory_order_acquire);
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
    if (vrArray* part = container->parts()[i]) enqueue(part);
  }
  huFree(container);
  drainQueue();
}

}  // namespace vormel

void vrDestroyArray(vrArray* array) {
  if (array == nullptr) return;
  vormel::CallScope::detach(array);
  // Outside of any call only the list of deferred handles is safe to touch.
  if (vormel::isHandle(array) && !vormel::isInside()) return vormel::defer(array);
  vormel::enqueue(array);
  vormel::drainQueue();
}
