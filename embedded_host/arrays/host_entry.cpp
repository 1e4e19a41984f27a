#include "embedded_host/arrays/host_entry.h"

#include <pthread.h>

#include <cxxabi.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "embedded_host/arrays/storage.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/ntob.h"

namespace vormel {
namespace {

// Above every address: no thread gets by it before it is prepared.
constexpr std::uintptr_t kUnprepared = UINTPTR_MAX;

struct ThreadState {
  std::uintptr_t lowestEntry = kUnprepared;  // the stack address below which entries are refused
  std::uintptr_t lowestOfStack = 0;
  std::uint32_t depth = 0;  // entries that have not ended
};

constinit thread_local ThreadState thisThread;

// The thread that is inside; null if none is.
constinit std::atomic<const ThreadState*> inside = nullptr;

// What has to be left of the stack at an entry: the deepest values that are converted and written
// take less, and so do Python's own steps between two calls. Of a small stack, half.
constexpr std::size_t kStackToLeave = std::size_t{256} * 1024;

// In shared libraries that were loaded late, the C++ library among them, the memory of a thread for
// its variables is taken when the thread first uses them; the dynamic loader ends the process if
// there is none. What is freed here is there a moment later.
bool reserveExceptionState() noexcept {
  constexpr std::size_t room = std::size_t{16} * 1024;
  void* volatile memory = std::malloc(room);  // volatile: the pair must not be optimized away
  if (memory == nullptr) return false;
  std::free(memory);
  [[maybe_unused]] void* volatile const state = abi::__cxa_get_globals();
  return true;
}

void setStack(std::uintptr_t lowest, std::size_t size) noexcept {
  thisThread.lowestEntry = lowest + std::min(kStackToLeave, size / 2);
  thisThread.lowestOfStack = lowest;
}

[[gnu::always_inline]] inline std::uintptr_t stackPlace() noexcept {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

bool measureStack() noexcept {
  pthread_attr_t attributes;
  const int failure = pthread_getattr_np(pthread_self(), &attributes);
  if (failure == ENOMEM) return false;
  if (failure != 0) {  // the main thread without /proc: as much as any main thread has
    constexpr std::size_t usual = std::size_t{1} << 20;
    setStack(stackPlace() - usual, usual);
    return true;
  }
  void* lowest = nullptr;
  std::size_t size = 0;
  std::size_t guard = 0;
  pthread_attr_getstack(&attributes, &lowest, &size);
  pthread_attr_getguardsize(&attributes, &guard);
  pthread_attr_destroy(&attributes);
  guard = std::min(guard, size / 2);
  setStack(reinterpret_cast<std::uintptr_t>(lowest) + guard, size - guard);
  return true;
}

// A stack that lies elsewhere, as those of coroutines, is not measured.
bool isOnOwnStack(std::uintptr_t place) noexcept { return place >= thisThread.lowestOfStack; }

// Apart, so that whoever asks of a prepared thread pays a comparison.
[[gnu::noinline]] bool prepareFresh() noexcept { return reserveExceptionState() && measureStack(); }

[[gnu::noinline]] void checkThread(std::uintptr_t place) {
  if (!prepareThread()) throw ntob::TOBOutOfMemoryException();
  if (place < thisThread.lowestEntry && isOnOwnStack(place)) {
    throw CallRefused("TooDeep", "The call is nested too deep for the stack of its thread.");
  }
}

[[noreturn, gnu::noinline]] void refuseBusy() {
  throw CallRefused("Busy", "Another thread is inside a call.");
}

bool claim() noexcept {
  const ThreadState* nobody = nullptr;
  return inside.compare_exchange_strong(nobody, &thisThread, std::memory_order_acquire);
}

void leave() noexcept {
  if (thisThread.depth == 1) {
    endWaitingHandles();
    inside.store(nullptr, std::memory_order_release);
  }
  --thisThread.depth;
}

}  // namespace

bool prepareThread() noexcept { return thisThread.lowestEntry != kUnprepared || prepareFresh(); }

HostEntry::HostEntry() {
  const std::uintptr_t place = stackPlace();
  if (place < thisThread.lowestEntry) checkThread(place);
  if (thisThread.depth == 0 && !claim()) refuseBusy();
  ++thisThread.depth;
}

HostEntry::~HostEntry() { leave(); }

bool isInside() noexcept { return thisThread.depth > 0; }

void endWaitingHandlesIfFree() noexcept {
  if (isInside() || !prepareThread() || !claim()) return;
  thisThread.depth = 1;
  leave();
}

}  // namespace vormel
