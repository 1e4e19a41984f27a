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

// Above every stack address, so that the first entry of a thread always calls checkThread.
constexpr std::uintptr_t unprepared = UINTPTR_MAX;

struct ThreadState {
  std::uintptr_t lowestEntry = unprepared;  // the stack address below which entries are refused
  std::uintptr_t lowestOfStack = 0;
  std::uint32_t depth = 0;  // entries that have not ended
};

constinit thread_local ThreadState thisThread;

// The thread that is inside; null if none is.
constinit std::atomic<const ThreadState*> inside = nullptr;

// The stack that an entry requires to be left, or half of a smaller stack. Converting and writing
// the most deeply nested values takes less, and so does Python between two calls.
constexpr std::size_t requiredStack = std::size_t{256} * 1024;

// The thread-local variables of a shared library that was loaded late, which the C++ library may
// be, are allocated when a thread first uses them; if that fails, the dynamic loader ends the
// process. The block that is freed here leaves room for them.
bool reserveExceptionState() noexcept {
  constexpr std::size_t room = std::size_t{16} * 1024;
  void* volatile memory = std::malloc(room);  // volatile: the compiler must keep the pair
  if (memory == nullptr) return false;
  std::free(memory);
  [[maybe_unused]] void* volatile const state = abi::__cxa_get_globals();
  return true;
}

void setStack(std::uintptr_t lowest, std::size_t size) noexcept {
  thisThread.lowestEntry = lowest + std::min(requiredStack, size / 2);
  thisThread.lowestOfStack = lowest;
}

[[gnu::always_inline]] inline std::uintptr_t stackAddress() noexcept {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

bool measureStack() noexcept {
  pthread_attr_t attributes;
  const int failure = pthread_getattr_np(pthread_self(), &attributes);
  if (failure == ENOMEM) return false;
  if (failure != 0) {  // the main thread without /proc: assume what every main thread has
    constexpr std::size_t usual = std::size_t{1} << 20;
    setStack(stackAddress() - usual, usual);
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

// False on another stack, for instance that of a coroutine, which is not measured.
bool isOnOwnStack(std::uintptr_t address) noexcept { return address >= thisThread.lowestOfStack; }

// Not inlined: a prepared thread pays for a comparison only.
[[gnu::noinline]] bool prepareNewThread() noexcept {
  return reserveExceptionState() && measureStack();
}

[[gnu::noinline]] void checkThread(std::uintptr_t address) {
  if (!prepareThread()) throw ntob::TOBOutOfMemoryException();
  if (address < thisThread.lowestEntry && isOnOwnStack(address)) {
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
    destroyDeferredHandles();
    inside.store(nullptr, std::memory_order_release);
  }
  --thisThread.depth;
}

}  // namespace

bool prepareThread() noexcept { return thisThread.lowestEntry != unprepared || prepareNewThread(); }

HostEntry::HostEntry() {
  const std::uintptr_t address = stackAddress();
  if (address < thisThread.lowestEntry) checkThread(address);
  if (thisThread.depth == 0 && !claim()) refuseBusy();
  ++thisThread.depth;
}

HostEntry::~HostEntry() { leave(); }

bool isInside() noexcept { return thisThread.depth > 0; }

void destroyDeferredHandlesIfFree() noexcept {
  if (isInside() || !prepareThread() || !claim()) return;
  thisThread.depth = 1;
  leave();
}

}  // namespace vormel
