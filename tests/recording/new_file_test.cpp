// Where a new recording lies while it is written, and what it leaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/recording/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
namespace fs = std::filesystem;

class NewFileTest : public ::testing::Test {
 protected:
  std::string path() const { return directory_.file("drive.kvr"); }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(directory_.path()))
      found.push_back(entry.path().filename());
    return found;
  }
  mode_t modeOf(const std::string& file) const {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return status.st_mode & 0777;
  }
  ScratchDirectory directory_;
};

TEST_F(NewFileTest, OldFileStaysUntilTheCommit) {
  writeSample(path());
  const std::string before = readFile(path());
  {
    Writer writer = Writer::create(path());
    addRun(writer, "new", 1, 10);
    EXPECT_EQ(readFile(path()), before);
  }
  EXPECT_EQ(readFile(path()), before);
  EXPECT_EQ(names().size(), 1U);
}

TEST_F(NewFileTest, UnfinishedFileIsForItsOwnerAlone) {
  Writer writer = Writer::create(path());
  ASSERT_EQ(names().size(), 1U);
  EXPECT_EQ(modeOf(directory_.file(names().front())), 0600U);
}

TEST_F(NewFileTest, ModeIsThatOfTheUmaskOrOfTheOldFile) {
  const mode_t before = umask(027);
  writeSample(path());
  EXPECT_EQ(modeOf(path()), 0640U);
  chmod(path().c_str(), 0604);
  writeSample(path());
  EXPECT_EQ(modeOf(path()), 0604U);
  umask(before);
}

TEST_F(NewFileTest, SymbolicLinkStaysAndItsTargetIsReplaced) {
  writeFile(directory_.file("real.kvr"), "old");
  fs::create_symlink("real.kvr", path());
  writeSample(path());
  EXPECT_TRUE(fs::is_symlink(path()));
  EXPECT_EQ(Reader(directory_.file("real.kvr")).runCount(), 2);
}

TEST_F(NewFileTest, LeftoverOfAKilledProcessIsRemoved) {
  ChildProcess(
      [&] {
        static Writer writer = Writer::create(path());
        return std::string();
      },
      ChildProcess::Ending::Killed)
      .end();
  ASSERT_EQ(names().size(), 1U);
  writeSample(path());
  EXPECT_EQ(names(), std::vector<std::string>{"drive.kvr"});
}

TEST_F(NewFileTest, UnfinishedFileOfALivingProcessStays) {
  Writer one = Writer::create(path());
  Writer other = Writer::create(path());
  addRun(one, "one", 1, 1);
  addRun(other, "other", 2, 1);
  one.commit();
  other.commit();
  EXPECT_EQ(Reader(path()).runs(1, 1).front().name, "other");
}

TEST_F(NewFileTest, StrangersFilesStay) {
  writeFile(directory_.file(".drive.kvr.0123456789abcdeg.new"), "not hexadecimal");
  writeFile(directory_.file(".other.kvr.0123456789abcdef.new"), "of another file");
  fs::create_directory(directory_.file(".drive.kvr.0123456789abcdef.new"));
  writeSample(path());
  EXPECT_EQ(names().size(), 4U);
}

TEST_F(NewFileTest, StaleJournalOfTheOldFileIsRemoved) {
  writeSample(path());
  writeFile(path() + "-journal", std::string(2000, 'x'));
  writeSample(path());
  EXPECT_EQ(names(), std::vector<std::string>{"drive.kvr"});
}

TEST_F(NewFileTest, FailuresAreSystemErrors) {
  const auto codeOf = [](const std::string& target) {
    try {
      Writer::create(target);
    } catch (const SystemError& error) {
      return error.code().value();
    }
    return 0;
  };
  EXPECT_EQ(codeOf(directory_.file("none/drive.kvr")), ENOENT);
  EXPECT_EQ(codeOf(directory_.path()), EISDIR);
  EXPECT_EQ(codeOf(""), ENOENT);
  EXPECT_EQ(codeOf("/proc/drive.kvr"), ENOENT);
  EXPECT_THROW(Writer::create(std::string("a\0b", 3)), std::invalid_argument);
}

}  // namespace
}  // namespace kvr::test
