// A disk that takes no more.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstddef>

namespace kvr::test {

// Lets no file of the process grow beyond a size.
class LargestFile {
 public:
  explicit LargestFile(std::size_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~LargestFile() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  LargestFile(const LargestFile&) = delete;
  LargestFile& operator=(const LargestFile&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

}  // namespace kvr::test
