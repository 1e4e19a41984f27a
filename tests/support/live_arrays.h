// Accounts for host arrays, objects and open files: each test ends with the number that were alive
// when it began.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/file_status.h"
#include "embedded_host/objects/object_record.h"

namespace kvr::test {

// Fails the test at its end unless as many arrays are alive as at its start, plus those allowed,
// and as many objects and open files.
class LiveArraysGuard {
 public:
  LiveArraysGuard() = default;
  LiveArraysGuard(const LiveArraysGuard&) = delete;
  LiveArraysGuard& operator=(const LiveArraysGuard&) = delete;
  ~LiveArraysGuard() {
    EXPECT_EQ(vormel::liveArrayCount(), atStart_ + allowed_) << "live arrays";
    EXPECT_EQ(vormel::liveObjectCount(), objectsAtStart_) << "live objects";
    EXPECT_EQ(vormel::openFileCount(), filesAtStart_) << "open files";
  }

  // Arrays that this test leaves behind for good.
  void allow(std::size_t count) { allowed_ += count; }

  // Arrays that are alive now and were not at the start.
  std::size_t made() const { return vormel::liveArrayCount() - atStart_; }

 private:
  std::size_t atStart_ = vormel::liveArrayCount();
  std::size_t objectsAtStart_ = vormel::liveObjectCount();
  std::size_t filesAtStart_ = vormel::openFileCount();
  std::size_t allowed_ = 0;
};

// A fixture with the guard. The guard ends after everything the fixture's own classes hold.
class LiveArraysTest : public ::testing::Test {
 protected:
  LiveArraysGuard liveArrays;
};

}  // namespace kvr::test
