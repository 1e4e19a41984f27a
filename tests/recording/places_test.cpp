// Recordings in places of every kind: on read-only media, in folders that cannot be written, on
// file systems without locks, under strange names, behind symbolic links. Reading writes nothing
// anywhere.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "tests/recording/sample.h"
#include "tests/support/child_process.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
using ::testing::ElementsAre;
namespace fs = std::filesystem;

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(folder)) found.push_back(entry.path().filename());
  std::sort(found.begin(), found.end());
  return found;
}

class PlacesTest : public ::testing::Test {
 protected:
  std::string path() const { return directory_.file("drive.kvr"); }
  ScratchDirectory directory_;
};

// ---- Media and folders that cannot be written ----

// Runs the body in a process that sees the folder as a file system of its own, which is read-only
// after `fill`. Returns the body's text, or why there is no such file system.
std::string onReadOnlyMedium(const fs::path& folder, const std::function<void()>& fill,
                             const std::function<std::string()>& body) {
  return inProcess(
      [&]() -> std::string {
        const auto isRefused = [](int result) { return result != 0; };
        if (isRefused(unshare(CLONE_NEWNS)) ||
            isRefused(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr)) ||
            isRefused(mount("none", folder.c_str(), "tmpfs", 0, nullptr)))
          return std::string("cannot mount: ") + std::strerror(errno);
        fill();
        if (isRefused(mount("none", folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr)))
          return std::string("cannot mount: ") + std::strerror(errno);
        return body();
      },
      ChildProcess::Ending::Quick);
}

TEST_F(PlacesTest, RecordingOnAReadOnlyMediumIsRead) {
  const std::string expected = [&] {
    writeSample(path());
    return contentOf(path());
  }();
  const std::string found = onReadOnlyMedium(
      directory_.path(), [&] { writeSample(path()); },
      [&] {
        std::string text = contentOf(path());
        if (!verify(path()).empty()) text += "damaged";
        for (const auto& open : {+[](const std::string& at) { Writer::append(at); },
                                 +[](const std::string& at) { Writer::create(at); }}) {
          try {
            open(path());
            text += "it was written";
          } catch (const SystemError& error) {
            if (error.code().value() != EROFS) text += error.what();
          }
        }
        return text;
      });
  if (found.starts_with("cannot mount")) GTEST_SKIP() << found;
  EXPECT_EQ(found, expected);
}

TEST_F(PlacesTest, UnfinishedRecordingOnAReadOnlyMediumIsRefused) {
  const std::string found = onReadOnlyMedium(
      directory_.path(),
      [&] {
        writeSample(path());
        writeFile(path() + "-journal", std::string(2000, 'x'));
        fs::create_symlink("drive.kvr", directory_.file("link.kvr"));
      },
      [&] {
        std::string text;
        for (const std::string& at : {path(), directory_.file("link.kvr")}) {
          try {
            contentOf(at);
          } catch (const FormatError& error) {
            text += error.what() + std::string("|");
          }
        }
        return text;
      });
  if (found.starts_with("cannot mount")) GTEST_SKIP() << found;
  const std::string error =
      "a program was ended while it added runs to it; open it once where it can be written|";
  EXPECT_EQ(found, error + error);
}

// Runs the body in a process of another user: the superuser may write everywhere.
std::string withoutPermission(const std::function<std::string()>& body) {
  return inProcess(
      [&] {
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) return std::string("superuser");
        return body();
      },
      ChildProcess::Ending::Quick);
}

TEST_F(PlacesTest, RecordingInAFolderWithoutWritePermissionIsRead) {
  writeSample(path());
  const std::string expected = contentOf(path());
  chmod(path().c_str(), 0444);
  chmod(directory_.path().c_str(), 0555);
  EXPECT_EQ(inProcess(
                [&] {
                  // The superuser may write everywhere.
                  if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
                    return std::string("root");
                  return contentOf(path()) + (verify(path()).empty() ? "" : "damaged");
                },
                ChildProcess::Ending::Quick),
            expected);
  EXPECT_THAT(namesIn(directory_.path()), ElementsAre("drive.kvr"));
  chmod(directory_.path().c_str(), 0755);
}

TEST_F(PlacesTest, AddingRunsWithoutWritePermissionFailsAtOnce) {
  writeSample(path());
  chmod(path().c_str(), 0444);
  chmod(directory_.path().c_str(), 0755);
  EXPECT_EQ(withoutPermission([&]() -> std::string {
              try {
                Writer::append(path());
              } catch (const SystemError& error) {
                return error.code() == std::errc::permission_denied ? "denied" : error.what();
              }
              return "opened";
            }),
            "denied");
}

// A killed process left a journal. Who may not write cannot restore the file; who may does.
TEST_F(PlacesTest, UnfinishedRecordingIsRestoredOnlyWithTheRightToWrite) {
  writeSample(path());
  const std::string before = contentOf(path());
  ChildProcess(
      [&] {
        static Writer writer = Writer::append(path());
        addRun(writer, "large", 0, 1'000'000);
        return std::string();
      },
      ChildProcess::Ending::Killed)
      .end();
  ASSERT_GT(fs::file_size(path() + "-journal"), 512U);
  chmod(path().c_str(), 0444);
  chmod((path() + "-journal").c_str(), 0444);
  chmod(directory_.path().c_str(), 0555);
  EXPECT_EQ(withoutPermission([&]() -> std::string {
              try {
                return contentOf(path());
              } catch (const FormatError& error) {
                return error.what();
              }
            }),
            "a program was ended while it added runs to it; open it once where it can be written");
  chmod(directory_.path().c_str(), 0755);
  chmod(path().c_str(), 0644);
  EXPECT_EQ(contentOf(path()), before);
  EXPECT_THAT(namesIn(directory_.path()), ElementsAre("drive.kvr"));
}

// The kernel tells everything that is made, written or removed in the folder, however short it is
// there.
TEST_F(PlacesTest, ReadingWritesNothingBesideTheFile) {
  writeSample(path());
  const int events = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(events, 0);
  ASSERT_GE(inotify_add_watch(events, directory_.path().c_str(),
                              IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVE | IN_ATTRIB),
            0);
  contentOf(path());
  verify(path());
  char event[4096];
  EXPECT_EQ(read(events, event, sizeof event), -1) << "reading changed the folder";
  EXPECT_EQ(errno, EAGAIN);
  writeFile(directory_.file("other"), "");
  EXPECT_GT(read(events, event, sizeof event), 0) << "the kernel told nothing";
  close(events);
}

// ---- File systems without locks ----

int lockFault = 0;

int fcntlWithoutLocks(int file, int command, ...) {
  va_list rest;
  va_start(rest, command);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  if (command == F_SETLK || command == F_SETLKW || command == F_GETLK) {
    errno = lockFault;
    return -1;
  }
  return fcntl(file, command, argument);
}

// SQLite sees the answers of a file system that has no locks: ENOLCK of a network file system whose
// server has no lock service, others of file systems that have never heard of locks.
class NoLocks {
 public:
  explicit NoLocks(int fault) {
    lockFault = fault;
    set(reinterpret_cast<sqlite3_syscall_ptr>(fcntlWithoutLocks));
  }
  ~NoLocks() { set(nullptr); }
  NoLocks(const NoLocks&) = delete;
  NoLocks& operator=(const NoLocks&) = delete;

 private:
  static void set(sqlite3_syscall_ptr function) {
    sqlite3_vfs* system = sqlite3_vfs_find(nullptr);
    ASSERT_EQ(system->xSetSystemCall(system, "fcntl", function), SQLITE_OK);
  }
};

class NoLocksTest : public PlacesTest, public ::testing::WithParamInterface<int> {};

TEST_P(NoLocksTest, RecordingIsRead) {
  writeSample(path());
  const std::string expected = contentOf(path());
  const NoLocks fileSystem(GetParam());
  EXPECT_EQ(contentOf(path()), expected);
  EXPECT_TRUE(verify(path()).empty());
}

TEST_P(NoLocksTest, RecordingIsReplaced) {
  writeSample(path());
  const NoLocks fileSystem(GetParam());
  Writer writer = Writer::create(path());
  addRun(writer, "new", 1, 3);
  writer.commit();
  EXPECT_EQ(Reader(path()).runs(1, 1).front().name, "new");
  EXPECT_THAT(namesIn(directory_.path()), ElementsAre("drive.kvr"));
}

TEST_P(NoLocksTest, AddingRunsFailsAtOnceAndSaysWhy) {
  writeSample(path());
  const NoLocks fileSystem(GetParam());
  try {
    Writer::append(path());
    FAIL() << "two writers could mix their runs";
  } catch (const SystemError& error) {
    EXPECT_EQ(error.code().value(), ENOLCK);
  }
}

INSTANTIATE_TEST_SUITE_P(Answers, NoLocksTest,
                         ::testing::Values(ENOLCK, EOPNOTSUPP, EINVAL, ENOSYS, EPERM));

// ---- Names ----

constexpr const char* strangeNames[] = {
    "a?mode=memory", "a?vfs=none",  "a#b.kvr",      "a%41.kvr", "%",        "file:a.kvr",
    ":memory:",      "a b&c=d.kvr", "\xC3\xA9\xFF", "a\nb",     "-journal", "a'\"\\.kvr"};

TEST_F(PlacesTest, StrangeNamesAreNames) {
  for (const char* name : strangeNames) {
    const std::string at = directory_.file(name);
    writeSample(at);
    Writer writer = Writer::append(at);
    addRun(writer, "more", 1, 3);
    writer.commit();
    EXPECT_EQ(Reader(at).runCount(), 3) << name;
    EXPECT_TRUE(verify(at).empty()) << name;
  }
  EXPECT_EQ(namesIn(directory_.path()).size(), std::size(strangeNames));
}

TEST_F(PlacesTest, StrangeRelativeNamesAreNames) {
  const fs::path before = fs::current_path();
  fs::current_path(directory_.path());
  for (const char* name : strangeNames) {
    writeSample(name);
    EXPECT_EQ(Reader(name).runCount(), 2) << name;
  }
  fs::current_path(before);
  EXPECT_EQ(namesIn(directory_.path()).size(), std::size(strangeNames));
}

TEST_F(PlacesTest, StrangeNamesAreNamesWithoutLocks) {
  for (const char* name : strangeNames) writeSample(directory_.file(name));
  const NoLocks fileSystem(ENOLCK);
  for (const char* name : strangeNames)
    EXPECT_EQ(Reader(directory_.file(name)).runCount(), 2) << name;
}

// ---- Links, and what is no file ----

TEST_F(PlacesTest, RecordingIsReadAndExtendedThroughASymbolicLink) {
  const std::string link = directory_.file("link.kvr");
  writeSample(path());
  fs::create_symlink("drive.kvr", link);
  Writer writer = Writer::append(link);
  addRun(writer, "more", 1, 3);
  writer.commit();
  EXPECT_EQ(Reader(link).runCount(), 3);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(contentOf(link), contentOf(path()));
}

TEST_F(PlacesTest, LinksThatLeadNowhereAreSystemErrors) {
  const std::string nowhere = directory_.file("nowhere.kvr");
  const std::string circle = directory_.file("circle.kvr");
  fs::create_symlink("none.kvr", nowhere);
  fs::create_symlink("circle.kvr", circle);
  for (const std::string& link : {nowhere, circle}) {
    EXPECT_THROW(Reader{link}, SystemError);
    EXPECT_THROW(Writer::append(link), SystemError);
  }
  EXPECT_THROW(Writer::create(circle), SystemError);
}

TEST_F(PlacesTest, NothingIsWrittenToWhatIsNoFile) {
  const std::string pipe = directory_.file("pipe.kvr");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& at : {pipe, std::string("/dev/null"), directory_.path().string()}) {
    EXPECT_THROW(Writer::create(at), SystemError) << at;
    EXPECT_ANY_THROW(Writer::append(at)) << at;
    EXPECT_ANY_THROW(verify(at)) << at;
  }
  EXPECT_THAT(namesIn(directory_.path()), ElementsAre("pipe.kvr"));
}

}  // namespace
}  // namespace kvr::test
