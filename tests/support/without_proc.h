// A process that does not see /proc.
#pragma once

#include <sched.h>
#include <sys/mount.h>

namespace kvr::test {

// Hides /proc from this process as long as it lives: the leak sanitizer needs it at exit.
class WithoutProc {
 public:
  WithoutProc()
      : isHidden_(unshare(CLONE_NEWNS) == 0 &&
                  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("none", "/proc", "tmpfs", 0, nullptr) == 0) {}
  ~WithoutProc() {
    if (isHidden_) umount2("/proc", MNT_DETACH);
  }
  WithoutProc(const WithoutProc&) = delete;
  WithoutProc& operator=(const WithoutProc&) = delete;

  // False where file systems may not be mounted.
  explicit operator bool() const noexcept { return isHidden_; }

 private:
  bool isHidden_;
};

}  // namespace kvr::test
