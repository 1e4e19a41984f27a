// What tests of the host's directories and processes share.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "embedded_host/functions/host_functions.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {

// What the host's own "tempdir" gives.
inline std::string tempdirPath() {
  return vrArrayToStdString(vormel::HostFunctions::instance().callBuiltIn("tempdir").get());
}

inline std::vector<std::string> listing(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    names.push_back(entry.path().filename());
  return names;
}

inline int openDescriptors() {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    ++count;
  return count;
}

// Has private directories made in a directory of the test's own.
class TemporaryDirectoryTest : public ::testing::Test {
 protected:
  TemporaryDirectoryTest() { setenv("TMPDIR", temporary.path().c_str(), 1); }
  ~TemporaryDirectoryTest() override {
    before.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
  }

  std::vector<std::string> leftBehind() const { return listing(temporary.path()); }

  const std::string before = getenv("TMPDIR") != nullptr ? getenv("TMPDIR") : "";
  const ScratchDirectory temporary;
  const ScratchDirectory elsewhere;
};

}  // namespace kvr::test
