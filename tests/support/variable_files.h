// Putting into variable files and getting out, each with a file handle of its own.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "embedded_host/arrays/arrays.h"
#include "embedded_host/files/file_status.h"
#include "kvrntob/host/libvf.h"
#include "tests/support/live_arrays.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {

struct CloseFile {
  void operator()(vfFile* file) const { EXPECT_EQ(vfClose(file), 0); }
};
using OpenFile = std::unique_ptr<vfFile, CloseFile>;

inline OpenFile openFile(const std::string& path, const char* mode) {
  return OpenFile(vfOpen(path.c_str(), mode));
}

inline bool put(const std::string& path, const std::string& name, const vormel::OwnedArray& array) {
  const OpenFile file = openFile(path, "u");
  return file != nullptr && vfPutVariable(file.get(), name.c_str(), array.get()) == 0;
}

// Empty if there is no such variable.
inline vormel::OwnedArray get(const std::string& path, const std::string& name) {
  const OpenFile file = openFile(path, "r");
  if (file == nullptr) return {};
  vrArray* array = vfGetVariable(file.get(), name.c_str());
  if (array != nullptr) vrSetArrayScope(array, 0);
  return vormel::OwnedArray(array);
}

// Files that the process has open.
inline std::size_t openDescriptors() {
  const auto list = std::filesystem::directory_iterator("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(list), end(list)));
}

// A fixture with an empty variable file.
class VariableFileTest : public LiveArraysTest {
 protected:
  void SetUp() override { ASSERT_NE(openFile(path, "w7.3"), nullptr) << vormel::lastFileError(); }

  // The array goes into the file and comes back equal.
  void expectKept(const vormel::OwnedArray& array) {
    ASSERT_TRUE(put(path, "x", array)) << vormel::lastFileError();
    const vormel::OwnedArray back = get(path, "x");
    ASSERT_TRUE(back) << vormel::lastFileError();
    EXPECT_TRUE(vormel::equal(array.get(), back.get())) << vormel::className(array.get());
  }

  ScratchDirectory directory;
  std::string path = directory.file("test.vdf");
};

}  // namespace kvr::test
