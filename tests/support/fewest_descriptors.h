// A process without free descriptors.
#pragma once

#include <sys/resource.h>
#include <unistd.h>

namespace kvr::test {

// Lets the process open `room` descriptors and no more as long as it lives. The undefined behaviour
// sanitizer needs some where it looks at an object: failures are to be looked at afterwards.
class FewestDescriptors {
 public:
  explicit FewestDescriptors(rlim_t room) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int next = dup(STDIN_FILENO);
    close(next);
    const rlimit limit{static_cast<rlim_t>(next) + room, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~FewestDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  FewestDescriptors(const FewestDescriptors&) = delete;
  FewestDescriptors& operator=(const FewestDescriptors&) = delete;

 private:
  rlimit before_{};
};

}  // namespace kvr::test
