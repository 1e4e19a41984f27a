#include "tests/embedded_host/system_faults.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>

namespace kvr::test {
namespace {

SystemPlan* active = nullptr;

// True if the call fails instead of reaching the system; errno then says why.
bool fails(SystemCall call) {
  if (active == nullptr || !active->isDue(call)) return false;
  if (active->fault() == SystemFault::Killed) kill(getpid(), SIGKILL);
  errno = active->fault() == SystemFault::NoRoom ? ENOSPC : EIO;
  return active->fault() != SystemFault::Short;
}

// The bytes that a call moves: half of them if it is due to be short.
std::size_t moved(SystemCall call, std::size_t size) {
  const bool isShort = active != nullptr && active->fault() == SystemFault::Short && size > 1;
  return isShort && active->isDue(call) ? size / 2 : size;
}

bool isShortPlan() { return active != nullptr && active->fault() == SystemFault::Short; }

}  // namespace

bool isSystemFaultDue(SystemCall call) noexcept { return active != nullptr && active->isDue(call); }

SystemPlan::SystemPlan(SystemCall call, SystemFault fault, std::uint64_t first,
                       bool isLasting) noexcept
    : call_(call), fault_(fault), first_(first), isLasting_(isLasting) {
  active = this;
}

SystemPlan::~SystemPlan() { active = nullptr; }

bool SystemPlan::isDue(SystemCall call) noexcept {
  if (call != call_) return false;
  ++seen_;
  const bool isDue = isLasting_ ? seen_ >= first_ : seen_ == first_;
  injected_ += isDue ? 1 : 0;
  return isDue;
}

}  // namespace kvr::test

using kvr::test::fails;
using kvr::test::isShortPlan;
using kvr::test::moved;
using kvr::test::SystemCall;

// They are for the libraries as well.
#pragma GCC visibility push(default)
extern "C" {

ssize_t pread(int file, void* to, std::size_t size, off_t offset) {
  if (!isShortPlan() && fails(SystemCall::Read)) return -1;
  return syscall(SYS_pread64, file, to, moved(SystemCall::Read, size), offset);
}

ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
  if (!isShortPlan() && fails(SystemCall::Write)) return -1;
  return syscall(SYS_pwrite64, file, bytes, moved(SystemCall::Write, size), offset);
}

int ftruncate(int file, off_t size) noexcept {
  return fails(SystemCall::Truncate) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

int fsync(int file) {
  return fails(SystemCall::Sync) ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

int fdatasync(int file) {
  return fails(SystemCall::Sync) ? -1 : static_cast<int>(syscall(SYS_fdatasync, file));
}

int fstat(int file, struct stat* status) noexcept {
  return fails(SystemCall::Status) ? -1 : static_cast<int>(syscall(SYS_fstat, file, status));
}

int flock(int file, int operation) noexcept {
  return fails(SystemCall::Lock) ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if (fails(SystemCall::Open)) return -1;
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

}  // extern "C"
#pragma GCC visibility pop
