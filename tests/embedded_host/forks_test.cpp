// Files in the private directory on both sides of a fork. The parents are processes of their own:
// they report what they found as text.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "tests/embedded_host/sample_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/private_directories.h"
#include "tests/support/sanitizers.h"
#include "tests/support/stored_number.h"
#include "tests/support/without_proc.h"

namespace {

namespace fs = std::filesystem;
using kvr::test::ChildProcess;
using kvr::test::inProcess;
using kvr::test::makeFile;
using kvr::test::numberAt;
using kvr::test::openDescriptors;
using kvr::test::putNumber;
using kvr::test::tempdirPath;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::SizeIs;

constexpr auto kKilled = ChildProcess::Ending::Killed;
constexpr auto kQuick = ChildProcess::Ending::Quick;

class Forks : public kvr::test::TemporaryDirectoryTest {
 protected:
  ~Forks() override { EXPECT_THAT(leftBehind(), IsEmpty()); }
};

// A file in the private directory with "a" = 1.
std::string fileWithOne() {
  std::string path = tempdirPath() + "KVR.vdf";
  return makeFile(path) && putNumber(path, "a", 1) ? path : "failed";
}

ino_t inodeOf(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// How a call of a method ends in this process: "called", or the identifier of its refusal.
std::string callMethod() {
  static const bool isRegistered = (sample::registerPackages(), true);
  try {
    vormel::Interpreter::instance().construct(sample::kBox, {0});
    return isRegistered ? "called" : "";
  } catch (const vormel::CallRefused& refusal) {
    return refusal.identifier();
  }
}

// What is read, and what is read after `value` was put.
std::string readAndPut(const std::string& path, double value) {
  const std::string before = numberAt(path, "a");
  return before + (putNumber(path, "a", value) ? numberAt(path, "a") : "-");
}

std::string toldApart(const std::string& path) {
  const ChildProcess child([&] { return readAndPut(path, 2); });
  return child.text() + ' ' + readAndPut(path, 3);
}

TEST_F(Forks, child_finds_the_parents_values_and_neither_sees_what_the_other_writes) {
  EXPECT_EQ(inProcess([] { return toldApart(fileWithOne()); }), "12 13");
}

TEST_F(Forks, what_the_parent_writes_after_the_fork_the_child_does_not_see) {
  const std::string text = inProcess([] {
    const std::string path = fileWithOne();
    int go[2];
    if (pipe(go) != 0) return std::string("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      char byte;
      close(go[1]);
      const bool isWritten = read(go[0], &byte, 1) == 0;
      _exit(isWritten && numberAt(path, "a") == "1" && numberAt(path, "b") == "none" ? 7 : 1);
    }
    const bool isPut = putNumber(path, "a", 2) && putNumber(path, "b", 2);
    close(go[1]);
    int status = 0;
    waitpid(child, &status, 0);
    return std::to_string(WEXITSTATUS(status)) + (isPut ? numberAt(path, "a") : "-");
  });
  EXPECT_EQ(text, "72");
}

TEST_F(Forks, file_that_the_child_removes_or_makes_anew_stays_the_parents) {
  const std::string text = inProcess([] {
    const std::string path = fileWithOne();
    inProcess([&] { return std::to_string(std::remove(path.c_str())); });
    inProcess([&] { return makeFile(path) ? "" : ""; });
    return numberAt(path, "a");
  });
  EXPECT_EQ(text, "1");
}

TEST_F(Forks, parent_goes_on_after_its_child_has_ended_in_any_way) {
  for (const auto ending : {ChildProcess::Ending::Exit, kQuick, kKilled}) {
    const std::string text = inProcess([&] {
      const std::string path = fileWithOne();
      const std::string child =
          inProcess([&] { return putNumber(path, "a", 2) ? "2" : ""; }, ending);
      return child + readAndPut(path, 3);
    });
    EXPECT_EQ(text, "213");
  }
}

TEST_F(Forks, child_goes_on_after_its_parent_has_been_killed) {
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  ChildProcess parent(
      [&] {
        const std::string path = fileWithOne();
        const pid_t parentNumber = getpid();
        if (fork() != 0) return std::string();
        close(report[0]);
        while (getppid() == parentNumber) usleep(1000);
        inProcess([] { return vormel::Interpreter::instance().packageNames().empty() ? "" : ""; });
        const std::string text = readAndPut(path, 2);
        const bool isWritten = write(report[1], text.data(), text.size()) > 0;
        std::exit(isWritten ? 0 : 1);
      },
      kKilled);
  close(report[1]);
  parent.end();
  char text[16] = {};
  EXPECT_GT(read(report[0], text, sizeof text - 1), 0);
  EXPECT_STREQ(text, "12");
  char end;
  EXPECT_EQ(read(report[0], &end, 1), 0);  // the child has ended
  close(report[0]);
  inProcess(tempdirPath);
}

TEST_F(Forks, fork_of_a_fork_has_files_of_its_own_too) {
  const std::string text = inProcess([] {
    const std::string path = fileWithOne();
    const std::string below = inProcess([&] {
      const std::string apart = toldApart(path);
      return apart + ' ' + numberAt(path, "a");
    });
    return below + ' ' + numberAt(path, "a");
  });
  EXPECT_EQ(text, "12 13 3 1");
}

TEST_F(Forks, before_the_first_directory_both_make_one) {
  const std::string text = inProcess([] {
    const ChildProcess child([] { return fs::canonical(fs::path(fileWithOne()).parent_path()); });
    const std::string path = fileWithOne();
    const bool isApart = fs::canonical(fs::path(path).parent_path()) != child.text();
    return (isApart ? "apart " : "shared ") + numberAt(path, "a");
  });
  EXPECT_EQ(text, "apart 1");
}

TEST_F(Forks, without_a_file_the_child_has_no_directory_until_it_asks) {
  const std::string text = inProcess([] {
    const std::string path = tempdirPath() + "KVR.vdf";
    const ChildProcess child([&] {
      const bool wasMade = makeFile(path);
      const std::string own = fileWithOne();
      return (wasMade ? "made " : "nothing ") + (own == path ? numberAt(own, "a") : own);
    });
    return child.text() + (fs::exists(path) ? " in the parent's" : "");
  });
  EXPECT_EQ(text, "nothing 1");
}

TEST_F(Forks, fork_of_a_child_without_a_directory_has_none_either) {
  const std::string text = inProcess([] {
    const std::string path = tempdirPath() + "KVR.vdf";
    return inProcess([&] {
      return inProcess([&] {
        const bool wasMade = makeFile(path);
        return (wasMade ? "made " : "nothing ") + numberAt(fileWithOne(), "a");
      });
    });
  });
  EXPECT_EQ(text, "nothing 1");
}

TEST_F(Forks, fifty_in_a_row_see_the_same_and_leave_a_few_directories_at_most) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    const int descriptors = openDescriptors();
    std::size_t most = 0;
    for (int i = 0; i < 50; ++i) {
      const auto action = [&] { return putNumber(path, "a", 2) ? numberAt(path, "a") : "-"; };
      if (inProcess(action, i % 2 == 0 ? kQuick : kKilled) != "2")
        return std::string("not kept apart");
      most = std::max(most, leftBehind().size());
    }
    if (openDescriptors() != descriptors) return std::string("descriptors");
    return numberAt(path, "a") + ' ' + std::to_string(most);
  });
  EXPECT_EQ(text.substr(0, 2), "1 ") << text;
  EXPECT_THAT(std::stoi(text.substr(2)), Le(18));
}

TEST_F(Forks, file_of_a_killed_child_is_written_without_a_copy) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    const ino_t inode = inodeOf(path);
    inProcess([] { return ""; }, kKilled);
    const std::size_t before = leftBehind().size();
    const bool isPut = putNumber(path, "a", 2);
    const bool isSame = isPut && inodeOf(path) == inode;
    return std::to_string(before) + std::to_string(leftBehind().size()) + (isSame ? " same" : "");
  });
  EXPECT_EQ(text, "21 same");
}

TEST_F(Forks, child_that_runs_another_program_holds_nothing) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    const ino_t inode = inodeOf(path);
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) return std::string("no pipe");
    const pid_t child = fork();
    if (child == 0) {
      dup2(report[1], STDOUT_FILENO);
      execlp("sh", "sh", "-c", "echo; exec sleep 100", nullptr);
      _exit(1);
    }
    char byte;
    const bool hasReplaced = read(report[0], &byte, 1) == 1;
    const bool isPut = putNumber(path, "a", 2);
    const std::size_t left = leftBehind().size();
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const bool isSame = hasReplaced && isPut && inodeOf(path) == inode;
    return std::to_string(left) + (isSame ? " same" : " copied");
  });
  EXPECT_EQ(text, "1 same");
}

TEST_F(Forks, fork_that_fails_changes_nothing) {
  const std::string text = inProcess([&]() -> std::string {
    fs::permissions(temporary.path(), fs::perms::all);
    if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0) return "skipped";
    const std::string path = fileWithOne();
    const ino_t inode = inodeOf(path);
    rlimit before{};
    getrlimit(RLIMIT_NPROC, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NPROC, &none);
    const pid_t child = fork();
    if (child == 0) _exit(0);
    setrlimit(RLIMIT_NPROC, &before);
    if (child > 0) return "forked";
    const bool isPut = putNumber(path, "a", 2);
    const bool isSame = isPut && inodeOf(path) == inode;
    return std::to_string(leftBehind().size()) + (isSame ? " same " : " copied ") +
           numberAt(path, "a");
  });
  if (text == "skipped") GTEST_SKIP() << "the user cannot be changed here";
  EXPECT_EQ(text, "1 same 2");
}

TEST_F(Forks, when_links_cannot_be_made_the_child_has_no_file_and_the_parent_keeps_its_own) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    int report[2];
    if (pipe(report) != 0) return std::string("no pipe");
    const int next = dup(0);
    close(next);
    const rlimit full{static_cast<rlim_t>(next), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &full);
    const pid_t child = fork();
    setrlimit(RLIMIT_NOFILE, &before);
    if (child == 0) {
      const bool isNothing = numberAt(path, "a") == "none" && !makeFile(path);
      const bool isCalled = callMethod() == "called";
      _exit(isNothing && isCalled && numberAt(fileWithOne(), "a") == "1" ? 7 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return std::to_string(WEXITSTATUS(status)) + numberAt(path, "a");
  });
  EXPECT_EQ(text, "71");
  inProcess(tempdirPath);  // removes what the child left behind with _exit
}

TEST_F(Forks, child_made_without_the_handlers_is_refused_and_touches_nothing) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    if (callMethod() != "called") return std::string("not called");
    const pid_t child = _Fork();
    if (child == 0) {
      std::string tempdir;
      try {
        tempdir = tempdirPath();
      } catch (const vormel::CallRefused& refusal) {
        tempdir = refusal.identifier();
      }
      const bool isRefused = callMethod() == "Vormel:Forked" && tempdir == "Vormel:Forked";
      const bool isBelow = inProcess(callMethod) == "Vormel:Forked";
      std::exit(isRefused && isBelow ? 7 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return std::to_string(WEXITSTATUS(status)) + numberAt(path, "a") + ' ' + callMethod();
  });
  EXPECT_EQ(text, "71 called");
}

TEST_F(Forks, child_of_a_process_with_threads_goes_on) {
#ifdef KVR_ADDRESS_SANITIZER
  GTEST_SKIP() << "the sanitizer's own heap stays locked in a child if a thread was at it";
#endif
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    std::atomic<bool> isEnding = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
        while (!isEnding) std::make_unique<std::string>(1000, 'x');
      });
    }
    int kept = 0;
    for (int i = 0; i < 20; ++i) {
      kept += inProcess([&] { return putNumber(path, "a", 2) ? numberAt(path, "a") : "-"; },
                        kQuick) == "2";
    }
    isEnding = true;
    for (std::thread& thread : threads) thread.join();
    return std::to_string(kept) + ' ' + numberAt(path, "a");
  });
  EXPECT_EQ(text, "20 1");
}

TEST_F(Forks, file_that_is_open_to_read_stays_readable_on_both_sides) {
  const std::string text = inProcess([&] {
    const std::string path = fileWithOne();
    const vormel::CallScope scope;
    vfFile* file = vfOpen(path.c_str(), "r");
    const auto read = [&] {
      const vormel::OwnedArray value(vfGetVariable(file, "a"));
      return value ? std::to_string(static_cast<int>(vrGetScalar(value.get()))) : "none";
    };
    const auto putAndRead = [&](double value) {
      if (!putNumber(path, "a", value)) return std::string("-");
      return read() + numberAt(path, "a");
    };
    const ChildProcess reader([&] { return read(); });
    const std::string parent = putAndRead(3);
    const std::string child = inProcess([&] { return read() + putAndRead(2); });
    vfClose(file);
    return reader.text() + ' ' + parent + ' ' + child;
  });
  EXPECT_EQ(text, "1 13 112");
}

TEST_F(Forks, directory_that_was_moved_or_removed_before) {
  const std::string moved = inProcess([&] {
    const std::string path = fileWithOne();
    fs::rename(fs::canonical(tempdirPath()), elsewhere.file("moved"));
    return toldApart(path);
  });
  EXPECT_EQ(moved, "12 13");
  const std::string removed = inProcess([&] {
    const std::string path = fileWithOne();
    fs::remove_all(fs::canonical(tempdirPath()));
    const std::string child = inProcess([&] { return makeFile(path) ? "made" : "nothing"; });
    return child + ' ' + numberAt(fileWithOne(), "a");
  });
  EXPECT_EQ(removed, "nothing 1");
  EXPECT_THAT(kvr::test::listing(elsewhere.path()), IsEmpty());
}

TEST_F(Forks, where_proc_is_not_mounted_the_child_is_refused) {
  const std::string text = inProcess([&]() -> std::string {
    const kvr::test::WithoutProc withoutProc;
    if (!withoutProc) return "skipped";
    const std::string path = fileWithOne();
    const std::string child = inProcess(callMethod, kQuick);
    return child + ' ' + callMethod() + ' ' + numberAt(path, "a");
  });
  if (text == "skipped") GTEST_SKIP() << "file systems may not be mounted here";
  EXPECT_EQ(text, "Vormel:Forked called 1");
}

TEST_F(Forks, exit_of_the_parent_leaves_its_childs_directory_alone) {
  int report[2];
  int release[2];
  ASSERT_EQ(pipe(report), 0);
  ASSERT_EQ(pipe(release), 0);
  inProcess([&] {
    const std::string path = fileWithOne();
    if (fork() != 0) return std::string();
    close(report[0]);
    close(release[1]);
    char byte;
    const bool isReleased = read(release[0], &byte, 1) == 0;
    const std::string text = isReleased && putNumber(path, "b", 5) ? numberAt(path, "b") : "-";
    const bool isWritten = write(report[1], text.data(), text.size()) > 0;
    std::exit(isWritten ? 0 : 1);
  });
  EXPECT_THAT(leftBehind(), SizeIs(1));
  close(report[1]);
  close(release[0]);
  close(release[1]);
  char text[2] = {};
  EXPECT_EQ(read(report[0], text, 1), 1);
  EXPECT_STREQ(text, "5");
  EXPECT_EQ(read(report[0], text, 1), 0);  // the child has ended
  close(report[0]);
  inProcess(tempdirPath);  // after which nothing is left even if the child was slow to end
}

}  // namespace
