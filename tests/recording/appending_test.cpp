// Adding runs to a file: one transaction, whoever else reads, writes or dies meanwhile.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "tests/recording/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

class AppendingTest : public ::testing::Test {
 protected:
  AppendingTest() { writeSample(path()); }
  std::string path() const { return directory_.file("drive.kvr"); }
  std::ptrdiff_t files() const {
    const fs::directory_iterator all(directory_.path());
    return std::distance(begin(all), end(all));
  }
  ScratchDirectory directory_;
};

TEST_F(AppendingTest, RunsComeBehindThoseThatAreThere) {
  const std::string before = contentOf(path());
  Writer writer = Writer::append(path());
  addSample(writer);
  writer.commit();
  const std::string after = contentOf(path());
  EXPECT_EQ(after.substr(0, before.size()), before);
  const Reader reader(path());
  EXPECT_EQ(reader.runCount(), 4);
  EXPECT_EQ(reader.runs(3, 1).front().firstSignal, 5);
  EXPECT_TRUE(verify(path()).empty());
  EXPECT_EQ(files(), 1);
}

TEST_F(AppendingTest, TimesAndSettingsOfTheFileAreUsedAgain) {
  Writer writer = Writer::append(path());
  addSample(writer);
  writer.commit();
  const Reader reader(path());
  EXPECT_EQ(reader.signals(5, 1).front().timeBase, reader.signals(1, 1).front().timeBase);
}

TEST_F(AppendingTest, ParentCanBeASignalOfTheFile) {
  Writer writer = Writer::append(path());
  addRun(writer, "more", 0, 3);
  writer.setParent(5, 3);
  EXPECT_THROW(writer.setParent(1, 2), std::invalid_argument);  // 2 is part of 1
  writer.commit();
  EXPECT_EQ(Reader(path()).parent(5), 3);
}

TEST_F(AppendingTest, NothingCountsWithoutCommit) {
  const std::string before = readFile(path());
  {
    Writer writer = Writer::append(path());
    addRun(writer, "large", 0, 1'000'000);  // more than SQLite holds in memory
  }
  EXPECT_EQ(contentOf(path()).size(), contentOf(path()).size());
  EXPECT_EQ(Reader(path()).runCount(), 2);
  EXPECT_TRUE(verify(path()).empty());
  EXPECT_EQ(files(), 1);
}

TEST_F(AppendingTest, OpenReaderGoesOnShowingWhatWasThere) {
  const Reader reader(path());
  Writer writer = Writer::append(path());
  addRun(writer, "more", 0, 3);
  EXPECT_EQ(reader.runs(1, 2).size(), 2U);
  writer.commit();
  EXPECT_EQ(reader.runCount(), 2);
  EXPECT_EQ(reader.signals(1, 4).size(), 4U);
  EXPECT_THROW(reader.runs(3, 1), std::invalid_argument);
}

TEST_F(AppendingTest, OpenReaderGoesOnShowingTheHierarchyThatWasThere) {
  const Reader reader(path());
  Writer writer = Writer::append(path());
  addRun(writer, "more", 0, 3);
  writer.setParent(5, 1);
  writer.commit();
  EXPECT_EQ(reader.parent(2), 1);
  EXPECT_EQ(reader.children(1), (std::vector<std::int64_t>{2, 4}));
  EXPECT_EQ(Reader(path()).children(1), (std::vector<std::int64_t>{2, 4, 5}));
}

// Open readers rely on it that no parent is added to a signal that they show.
TEST_F(AppendingTest, SignalOfTheFileGetsNoParent) {
  Writer writer = Writer::append(path());
  addRun(writer, "more", 0, 3);
  EXPECT_THROW(writer.setParent(3, 5), std::invalid_argument);
  EXPECT_THROW(writer.setParent(3, 1), std::invalid_argument);
  writer.setParent(5, 3);
  writer.commit();
  EXPECT_EQ(Reader(path()).parent(3), std::nullopt);
  EXPECT_TRUE(verify(path()).empty());
}

TEST_F(AppendingTest, SecondWriterWaitsForTheFirst) {
  std::optional<Writer> first = Writer::append(path());
  addRun(*first, "first", 0, 3);
  std::thread other([&] {
    Writer second = Writer::append(path());
    addRun(second, "second", 0, 3);
    second.commit();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  first->commit();
  first.reset();
  other.join();
  EXPECT_EQ(Reader(path()).runs(3, 2).back().name, "second");
  EXPECT_TRUE(verify(path()).empty());
}

TEST_F(AppendingTest, WriterThatWaitedTooLongSaysWhoHoldsTheFile) {
  const ChildProcess holder([&] {
    static Writer writer = Writer::append(path());
    return std::to_string(getpid());
  });
  for (const auto& open : {Writer::append, +[](const std::string& at) {
                             Writer writer = Writer::create(at);
                             writer.commit();
                             return writer;
                           }}) {
    try {
      open(path());
      FAIL() << "the file was not locked";
    } catch (const Busy& error) {
      EXPECT_THAT(error.what(), HasSubstr("process " + holder.text() + " ("));
      EXPECT_THAT(error.what(), HasSubstr(") is writing to it"));
    }
    if (std::getenv("KVR_LONG_TESTS") == nullptr) break;  // each waits 10 seconds
  }
}

TEST_F(AppendingTest, FileThatIsReplacedMeanwhileIsNotMixedUp) {
  std::thread other;
  {
    Writer first = Writer::append(path());
    addRun(first, "first", 0, 3);
    other = std::thread([&] { writeSample(path()); });  // waits
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    first.commit();
  }
  other.join();
  EXPECT_EQ(Reader(path()).runCount(), 2);
  EXPECT_TRUE(verify(path()).empty());
}

// A process that is killed while it adds a run leaves the file as it was, or with the run; the next
// one that opens it goes on.
TEST_F(AppendingTest, KilledWriterLeavesAWholeFile) {
  const int rounds = std::getenv("KVR_LONG_TESTS") != nullptr ? 500 : 30;
  std::int64_t runs = 2;
  int unfinished = 0;
  for (int round = 0; round < rounds; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (;;) {
        Writer writer = Writer::append(path());
        addRun(writer, "run", 0, 400'000);
        writer.commit();
      }
    }
    // Until a transaction has begun; then on, a little further each time.
    for (int i = 0; i < 5000 && !fs::exists(path() + "-journal"); ++i) usleep(200);
    usleep(static_cast<useconds_t>(round * 7919 % 20'000));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    unfinished += fs::exists(path() + "-journal") ? 1 : 0;
    const std::int64_t found = Reader(path()).runCount();
    ASSERT_GE(found, runs);
    runs = found;
    if (found > 20) {
      writeSample(path());
      runs = 2;
    }
  }
  EXPECT_TRUE(verify(path()).empty());
  Writer writer = Writer::append(path());  // also removes a journal that was never begun
  addRun(writer, "last", 0, 1);
  writer.commit();
  EXPECT_EQ(files(), 1);
  EXPECT_GT(unfinished, 0) << "no process was killed in a transaction";
}

TEST_F(AppendingTest, ForeignAndMissingFilesAreRefused) {
  writeFile(directory_.file("text"), std::string(5000, 'x'));
  EXPECT_THROW(Writer::append(directory_.file("text")), FormatError);
  EXPECT_THROW(Writer::append(directory_.file("none")), SystemError);
  EXPECT_THROW(Writer::append(directory_.path()), SystemError);
  EXPECT_FALSE(fs::exists(directory_.file("none")));
}

}  // namespace
}  // namespace kvr::test
