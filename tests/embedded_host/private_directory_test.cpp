// The host's own "tempdir": how it is made, held and removed, and what becomes of those that dead
// processes left behind. Each directory is made in a process of its own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "embedded_host/interpreter/interpreter.h"
#include "embedded_host/messages/host_exception.h"
#include "tests/support/child_process.h"
#include "tests/support/fewest_descriptors.h"
#include "tests/support/private_directories.h"
#include "tests/support/without_proc.h"

namespace {

namespace fs = std::filesystem;
using kvr::test::ChildProcess;
using kvr::test::inProcess;
using kvr::test::listing;
using kvr::test::openDescriptors;
using kvr::test::ScratchDirectory;
using kvr::test::tempdirPath;
using kvr::test::TemporaryDirectoryTest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr auto kKilled = ChildProcess::Ending::Killed;
constexpr uid_t kNobody = 65534;

// Where the directory really lies, without a separator.
std::string realPath() { return fs::canonical(tempdirPath()).string(); }

void write(const fs::path& path) { std::ofstream(path) << "content"; }

bool canWrite(const std::string& path) { return std::ofstream(path + "file").good(); }

std::string becomeNobody() {
  if (geteuid() != 0) return "";
  return setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0 ? "" : "failed";
}

class PrivateDirectory : public TemporaryDirectoryTest {
 protected:
  PrivateDirectory() {
    fs::create_directory(victim);
    write(victim / "precious");
  }
  ~PrivateDirectory() override { EXPECT_THAT(listing(victim), ElementsAre("precious")); }

  const fs::path victim = elsewhere.path() / "victim";
};

// ---- Made ----

TEST_F(PrivateDirectory, path_leads_through_a_descriptor_into_a_directory_of_mode_0700) {
  const std::string text = inProcess([&] {
    const std::string path = tempdirPath();
    const fs::path real = realPath();
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    EXPECT_EQ(real.parent_path(), fs::canonical(temporary.path()));
    EXPECT_THAT(real.filename().string(), MatchesRegex("vormel-private-[a-zA-Z0-9]{6}"));
    return ::testing::Test::HasFailure() ? "failed" : path;
  });
  EXPECT_THAT(text, MatchesRegex("/proc/self/fd/[0-9]+/"));
}

TEST_F(PrivateDirectory, stays_the_same_and_takes_no_further_descriptors) {
  const std::string text = inProcess([] {
    const std::string path = tempdirPath();
    const int before = openDescriptors();
    for (int i = 0; i < 100; ++i)
      if (tempdirPath() != path) return "moved";
    return openDescriptors() == before ? "same" : "more descriptors";
  });
  EXPECT_EQ(text, "same");
}

TEST_F(PrivateDirectory, is_made_whatever_the_mask_of_file_modes_is) {
  for (const bool isRoot : {true, false}) {
    fs::permissions(temporary.path(), fs::perms::all);
    const std::string text = inProcess([&] {
      if (!isRoot && becomeNobody() == "failed") return std::string("not nobody");
      umask(0777);
      const std::string path = tempdirPath();
      struct stat status;
      if (stat(path.c_str(), &status) != 0) return std::string("no directory");
      if ((status.st_mode & 07777) != 0700) return "mode " + std::to_string(status.st_mode);
      return std::string(canWrite(path) ? "usable" : "not usable");
    });
    EXPECT_EQ(text, "usable") << (isRoot ? "root" : "nobody");
    EXPECT_THAT(leftBehind(), IsEmpty());
  }
}

TEST_F(PrivateDirectory, lies_in_tmp_if_tmpdir_is_unset_or_empty) {
  for (const char* value : {"", static_cast<const char*>(nullptr)}) {
    const std::string real = inProcess([&] {
      value != nullptr ? setenv("TMPDIR", value, 1) : unsetenv("TMPDIR");
      return realPath();
    });
    EXPECT_THAT(real, StartsWith("/tmp/vormel-private-"));
    EXPECT_FALSE(fs::exists(real));
  }
}

TEST_F(PrivateDirectory, reports_a_parent_that_is_not_there_or_cannot_be_written) {
  const auto failureWith = [](const std::string& parent) {
    return inProcess([&] {
      if (becomeNobody() == "failed") return std::string("not nobody");
      setenv("TMPDIR", parent.c_str(), 1);
      return tempdirPath();
    });
  };
  EXPECT_EQ(
      failureWith("/nowhere/at/all"),
      "failed: Cannot make a private directory in /nowhere/at/all: No such file or directory");
  fs::permissions(elsewhere.path(), fs::perms::owner_all | fs::perms::others_exec);
  const std::string closed = elsewhere.path();
  EXPECT_EQ(failureWith(closed),
            "failed: Cannot make a private directory in " + closed + ": Permission denied");
}

TEST_F(PrivateDirectory, keeps_away_from_the_standard_streams) {
  const std::string path = inProcess([] {
    for (const int stream : {0, 1, 2}) close(stream);
    return tempdirPath();
  });
  EXPECT_THAT(path, MatchesRegex("/proc/self/fd/([3-9]|[0-9][0-9]+)/"));
}

TEST_F(PrivateDirectory, exhausted_descriptors_fail_the_call_and_leave_nothing) {
  const std::string text = inProcess([&]() -> std::string {
    for (rlim_t room = 0; room < 8; ++room) {
      try {
        const kvr::test::FewestDescriptors few(room);
        tempdirPath();
        return room > 0 ? "made in the end" : "made without a descriptor";
      } catch (const vormel::HostException& failure) {
        if (failure.identifier() != "Vormel:NoTemporaryDirectory") return failure.identifier();
        if (!leftBehind().empty()) return "left behind";
      }
    }
    return "never made";
  });
  EXPECT_EQ(text, "made in the end");
}

TEST_F(PrivateDirectory, has_a_plain_path_where_proc_is_not_mounted) {
  const std::string text = inProcess([&]() -> std::string {
    const kvr::test::WithoutProc withoutProc;
    if (!withoutProc) return "skipped";
    const std::string path = tempdirPath();
    return canWrite(path) ? path : path + " cannot be written";
  });
  if (text == "skipped") GTEST_SKIP() << "file systems may not be mounted here";
  EXPECT_THAT(text, MatchesRegex(fs::canonical(temporary.path()).string() +
                                 "/vormel-private-[a-zA-Z0-9]{6}/"));
  EXPECT_THAT(leftBehind(), IsEmpty());
}

// ---- Removed ----

TEST_F(PrivateDirectory, is_removed_at_exit_with_all_that_is_in_it_and_no_link_is_followed) {
  inProcess([&] {
    const std::string path = tempdirPath();
    fs::create_directories(path + "a/b/c");
    write(path + "a/b/c/file");
    fs::create_directory_symlink(victim, path + "a/b/link");
    fs::create_directory_symlink(victim, path + "link");
    fs::create_symlink(victim / "precious", path + "file");
    mkfifo((path + "pipe").c_str(), 0600);
    return path;
  });
  EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(PrivateDirectory, link_put_in_its_place_is_not_followed_at_exit) {
  const std::string real = inProcess([&] {
    const std::string path = realPath();
    fs::rename(path, elsewhere.path() / "moved");
    fs::create_directory_symlink(victim, path);
    return path;
  });
  EXPECT_TRUE(fs::is_symlink(real));
  EXPECT_FALSE(fs::exists(elsewhere.path() / "moved"));
}

TEST_F(PrivateDirectory, directory_put_in_its_place_is_left_alone_at_exit) {
  const std::string real = inProcess([&] {
    const std::string path = realPath();
    fs::rename(path, path + "-moved");
    fs::create_directory(path);
    write(path + "/mine");
    return path;
  });
  EXPECT_THAT(listing(real), ElementsAre("mine"));
  EXPECT_THAT(leftBehind(), SizeIs(1));
}

TEST_F(PrivateDirectory, relative_tmpdir_and_another_working_directory_remove_no_other_tree) {
  const std::string name = inProcess([&] {
    fs::current_path(temporary.path());
    setenv("TMPDIR", ".", 1);
    const std::string real = realPath();
    const std::string own = fs::path(real).filename();
    fs::current_path(elsewhere.path());
    fs::create_directory(own);
    write(own + "/mine");
    if (fs::canonical(tempdirPath()) != real)
      return std::string("moved with the working directory");
    return own;
  });
  EXPECT_THAT(listing(elsewhere.path() / name), ElementsAre("mine"));
  EXPECT_THAT(leftBehind(), IsEmpty());
}

// ---- Gone while the process lives ----

TEST_F(PrivateDirectory, that_was_removed_is_made_anew_under_the_same_path) {
  const std::string text = inProcess([] {
    const std::string path = tempdirPath();
    fs::remove_all(realPath());
    if (tempdirPath() != path) return "another path";
    return canWrite(path) ? "usable" : "not usable";
  });
  EXPECT_EQ(text, "usable");
  EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(PrivateDirectory, that_was_renamed_is_the_same_directory) {
  const std::string text = inProcess([&] {
    const std::string path = tempdirPath();
    write(path + "file");
    fs::rename(realPath(), elsewhere.path() / "moved");
    return fs::exists(tempdirPath() + "file") ? "same" : "another";
  });
  EXPECT_EQ(text, "same");
  EXPECT_FALSE(fs::exists(elsewhere.path() / "moved"));
}

int numberIn(const std::string& path) {
  return std::stoi(path.substr(sizeof "/proc/self/fd/" - 1));
}

TEST_F(PrivateDirectory, whose_descriptor_was_closed_is_made_anew) {
  const std::string text = inProcess([] {
    const std::string path = tempdirPath();
    close(numberIn(path));
    const std::string again = tempdirPath();
    if (again != path) return "another path";
    return canWrite(again) ? "usable" : "not usable";
  });
  EXPECT_EQ(text, "usable");
  EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(PrivateDirectory, takes_no_number_back_that_is_somebody_elses_by_now) {
  const std::string text = inProcess([&] {
    const int number = numberIn(tempdirPath());
    const int other = open((victim / "precious").c_str(), O_RDONLY);
    dup2(other, number);
    const std::string again = tempdirPath();
    char byte = 0;
    if (read(number, &byte, 1) != 1 || byte != 'c') return "taken";
    return numberIn(again) != number && canWrite(again) ? "usable" : "not usable";
  });
  EXPECT_EQ(text, "usable");
  EXPECT_THAT(leftBehind(), IsEmpty());
}

// ---- What dead processes leave behind ----

std::string makeAndWrite() {
  const std::string path = tempdirPath();
  fs::create_directory(path + "folder");
  write(path + "folder/file");
  return realPath();
}

std::string startHost() {
  vormel::Interpreter::instance();
  return "started";
}

TEST_F(PrivateDirectory, of_a_killed_process_goes_when_the_next_host_starts) {
  inProcess(makeAndWrite, kKilled);
  EXPECT_THAT(leftBehind(), SizeIs(1));
  inProcess(startHost);
  EXPECT_THAT(leftBehind(), IsEmpty());
}

TEST_F(PrivateDirectory, of_a_killed_process_goes_when_another_is_made) {
  const std::string dead = inProcess(makeAndWrite, kKilled);
  const ChildProcess next(realPath);
  EXPECT_THAT(leftBehind(), ElementsAre(fs::path(next.text()).filename()));
  EXPECT_NE(next.text(), dead);
}

TEST_F(PrivateDirectory, of_a_living_process_is_left_alone) {
  ChildProcess living(makeAndWrite);
  inProcess(startHost);
  inProcess(tempdirPath);
  EXPECT_TRUE(fs::exists(living.text() + "/folder/file"));
  living.end();
  EXPECT_FALSE(fs::exists(living.text()));
}

TEST_F(PrivateDirectory, only_private_directories_of_the_same_user_go) {
  const fs::path in = temporary.path();
  const auto make = [&](const char* name, unsigned mode) {
    fs::create_directory(in / name);
    fs::permissions(in / name, static_cast<fs::perms>(mode));
  };
  make("vormel-private-abcde", 0700);
  make("vormel-private-abcdefg", 0700);
  make("vormel-private-abc.ef", 0700);
  make("vormel-private-shared", 0750);
  make("other-private-abcdef", 0700);
  write(in / "vormel-private-simple");
  fs::create_directory_symlink(victim, in / "vormel-private-linked");
  make("vormel-private-theirs", 0700);
  const int given = chown((in / "vormel-private-theirs").c_str(), kNobody, kNobody);
  EXPECT_EQ(given == 0, geteuid() == 0);
  const std::size_t before = leftBehind().size();
  make("vormel-private-mine11", 0700);
  inProcess(startHost);
  EXPECT_FALSE(fs::exists(in / "vormel-private-mine11"));
  EXPECT_THAT(leftBehind(), SizeIs(geteuid() == 0 ? before : before - 1));
}

TEST_F(PrivateDirectory, parent_that_cannot_be_read_does_not_keep_the_host_from_starting) {
  setenv("TMPDIR", "/nowhere/at/all", 1);
  EXPECT_EQ(inProcess(startHost), "started");
}

// Each process makes directories and looks for dead ones as fast as it can; half of them are
// killed.
TEST_F(PrivateDirectory, processes_that_make_and_remove_at_once_keep_out_of_each_others_way) {
  constexpr int processes = 6;
  constexpr int rounds = 25;
  std::vector<pid_t> children;
  for (int i = 0; i < processes; ++i) {
    const pid_t child = fork();
    if (child != 0) {
      children.push_back(child);
      continue;
    }
    for (int round = 0; round < rounds; ++round) {
      const std::string text =
          inProcess([] { return canWrite(tempdirPath()) ? "usable" : "not usable"; },
                    round % 2 == 0 ? kKilled : ChildProcess::Ending::Exit);
      if (text != "usable") _exit(1);
    }
    _exit(0);
  }
  for (const pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  inProcess(startHost);
  EXPECT_THAT(leftBehind(), IsEmpty());
}

}  // namespace
