// Where a new recording lies while it is written, and what it leaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

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

TEST_F(NewFileTest, SymbolicLinkToNothingStaysAndItsTargetIsMade) {
  fs::create_directory(directory_.file("deep"));
  fs::create_symlink("deep/next.kvr", path());
  fs::create_symlink("real.kvr", directory_.file("deep/next.kvr"));
  writeSample(path());
  EXPECT_TRUE(fs::is_symlink(path()));
  EXPECT_TRUE(fs::is_symlink(directory_.file("deep/next.kvr")));
  EXPECT_EQ(Reader(directory_.file("deep/real.kvr")).runCount(), 2);
}

TEST_F(NewFileTest, FileThatAppearsBeforeTheCommitIsKeptIfAsked) {
  Writer writer = Writer::create(path(), 0, Existing::kKeep);
  addRun(writer, "late", 1, 10);
  writeSample(path());
  const std::string before = readFile(path());
  try {
    writer.commit();
    FAIL() << "the file was replaced";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code().value(), EEXIST);
  }
  writer = Writer::create(directory_.file("other.kvr"), 0, Existing::kKeep);
  addRun(writer, "first", 1, 10);
  writer.commit();
  EXPECT_EQ(readFile(path()), before);
  EXPECT_EQ(Reader(directory_.file("other.kvr")).runCount(), 1);
  EXPECT_EQ(names().size(), 2U);
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

// At times from the start to twice the time that a save takes here, so that some processes are
// killed while they save and some when they are done.
TEST_F(NewFileTest, KilledProcessLeavesTheOldFileOrTheNewOne) {
  const auto save = [&] {
    Writer writer = Writer::create(path());
    addRun(writer, "new", 0, 20'000);
    writer.commit();
  };
  const auto start = std::chrono::steady_clock::now();
  save();
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  const auto latest = static_cast<useconds_t>(2 * taken.count()) + 1;
  const int rounds = std::getenv("KVR_LONG_TESTS") != nullptr ? 500 : 30;
  writeSample(path());
  const std::string old = readFile(path());
  int replaced = 0;
  for (int round = 1; round <= rounds || (replaced == 0 && round <= 4 * rounds); ++round) {
    writeFile(path(), old);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      save();
      pause();
    }
    // Where the machine is busy, later and later.
    const int wait = round <= rounds ? round : 4 * round;
    usleep(static_cast<useconds_t>(static_cast<double>(latest) * wait / rounds));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const bool isNew = readFile(path()) != old;
    ASSERT_EQ(Reader(path()).runCount(), isNew ? 1 : 2);
    ASSERT_TRUE(verify(path()).empty());
    replaced += isNew ? 1 : 0;
  }
  EXPECT_GT(replaced, 0) << "every process was killed before it was done";
  EXPECT_LT(replaced, rounds) << "no process was killed while it saved";
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

TEST_F(NewFileTest, StaleJournalOfARemovedFileIsRemoved) {
  for (const Existing existing : {Existing::kReplace, Existing::kKeep}) {
    fs::remove(path());
    writeFile(path() + "-journal", std::string(2000, 'x'));
    Writer writer = Writer::create(path(), 0, existing);
    addRun(writer, "new", 1, 10);
    writer.commit();
    EXPECT_EQ(names(), std::vector<std::string>{"drive.kvr"});
    EXPECT_EQ(Reader(path()).runCount(), 1);
  }
}

TEST_F(NewFileTest, JournalOfAFileThatIsKeptStays) {
  Writer writer = Writer::create(path(), 0, Existing::kKeep);
  addRun(writer, "late", 1, 10);
  writeFile(path(), "of another program");
  writeFile(path() + "-journal", "its journal");
  EXPECT_THROW(writer.commit(), SystemError);
  EXPECT_EQ(readFile(path() + "-journal"), "its journal");
}

// Nothing stands where it leads to, but its name is taken.
TEST_F(NewFileTest, LinkToNothingThatAppearsBeforeTheCommitIsReplaced) {
  Writer writer = Writer::create(path());
  addRun(writer, "new", 1, 10);
  fs::create_symlink("nowhere", path());
  writer.commit();
  EXPECT_EQ(names(), std::vector<std::string>{"drive.kvr"});
  EXPECT_EQ(Reader(path()).runCount(), 1);
}

TEST_F(NewFileTest, FileThatMayOnlyBeReadIsReplacedAndStaysSo) {
  writeSample(path());
  chmod(path().c_str(), 0444);
  chmod(directory_.path().c_str(), 0777);
  EXPECT_EQ(inProcess(
                [&]() -> std::string {
                  // The superuser may write everywhere.
                  if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return "superuser";
                  Writer writer = Writer::create(path());
                  addRun(writer, "new", 1, 3);
                  writer.commit();
                  return Reader(path()).runs(1, 1).front().name;
                },
                ChildProcess::Ending::Quick),
            "new");
  EXPECT_EQ(modeOf(path()), 0444U);
  EXPECT_EQ(names(), std::vector<std::string>{"drive.kvr"});
}

TEST_F(NewFileTest, FolderThatGoesMeanwhileIsASystemError) {
  const fs::path folder = directory_.path() / "gone";
  for (auto* const open : {+[](const std::string& at) { return Writer::create(at); },
                           +[](const std::string& at) { return Writer::append(at); }}) {
    fs::create_directory(folder);
    writeSample(folder / "drive.kvr");
    Writer writer = open(folder / "drive.kvr");
    addRun(writer, "new", 1, 3);
    fs::remove_all(folder);
    EXPECT_THROW(writer.commit(), SystemError);
    EXPECT_FALSE(fs::exists(folder));
  }
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
