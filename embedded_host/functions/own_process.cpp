#include "embedded_host/functions/own_process.h"

#include <sys/mman.h>
#include <unistd.h>

namespace vormel {
namespace {

constexpr std::uint32_t ownValue = 1;

// The mark until ownership is taken, and after that only where the kernel cannot clear memory in
// children. There the handlers of fork() alone notice a child.
volatile std::uint32_t plainMark = ownValue;

volatile std::uint32_t* mark = &plainMark;
pid_t owner = 0;
bool isForked = false;
bool hasSharedClaim = false;

// A page of its own that reads as zeros in every child. Null if there is none.
volatile std::uint32_t* makeClearedMark() noexcept {
  const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) return nullptr;
  if (madvise(page, size, MADV_WIPEONFORK) != 0) {
    munmap(page, size);
    return nullptr;
  }
  auto* made = static_cast<volatile std::uint32_t*>(page);
  *made = ownValue;
  return made;
}

}  // namespace

std::atomic<const volatile std::uint32_t*> ownProcessMark = &plainMark;

bool isOwnProcess() noexcept { return (*mark == ownValue || hasSharedClaim) && owner == getpid(); }

void dropSharedClaim() noexcept {
  if (hasSharedClaim && owner == getpid()) *mark = ownValue;
}

void takeOwnership() noexcept {
  owner = getpid();
  if (volatile std::uint32_t* cleared = makeClearedMark()) mark = cleared;
  ownProcessMark = mark;
}

void enterChild(bool isOwn, bool sharesClaim) noexcept {
  *mark = isOwn && !sharesClaim ? ownValue : 0;
  hasSharedClaim = isOwn && sharesClaim;
  if (isOwn) owner = getpid();
  isForked = true;
}

bool wasForked() noexcept { return isForked; }

}  // namespace vormel
