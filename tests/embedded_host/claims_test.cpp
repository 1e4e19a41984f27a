// Directories that a replaced "tempdir" names: one process at a time has its scratch file there.
// Each process reports as text how its module's question for "tempdir" ended.
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/functions/host_functions.h"
#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/v_interpreter.h"
#include "tests/embedded_host/sample_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/fewest_descriptors.h"
#include "tests/support/private_directories.h"
#include "tests/support/stored_number.h"

namespace {

namespace fs = std::filesystem;
using kvr::test::ChildProcess;
using kvr::test::inProcess;
using kvr::test::makeFile;
using kvr::test::numberAt;
using kvr::test::openDescriptors;
using kvr::test::putNumber;
using kvr::test::tempdirPath;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string kInUse = "Vormel:DirectoryInUse";

// As a module asks: the answer, or the identifier of the failure.
std::string ask() {
  const vormel::CallScope scope;
  try {
    vrArray* answer = nullptr;
    ipCallFcnWithTrap(1, &answer, 0, nullptr, "tempdir", 0);
    return vrArrayToStdString(vormel::OwnedArray(answer).get());
  } catch (const vormel::HostException& failure) {
    return failure.identifier();
  }
}

std::string askFor(const std::string& directory) {
  vormel::HostFunctions::instance().set("tempdir", [=] { return kvr::test::aText(directory); });
  return ask();
}

std::string callMethod() {
  static const bool isRegistered = (sample::registerPackages(), true);
  try {
    vormel::Interpreter::instance().construct(sample::kBox, {0});
    return isRegistered ? "called" : "";
  } catch (const vormel::CallRefused& refusal) {
    return refusal.identifier() + ' ' + refusal.what();
  }
}

class Claims : public kvr::test::TemporaryDirectoryTest {
 protected:
  static std::string inOther(const std::string& directory) {
    return inProcess([&] { return askFor(directory); });
  }

  const kvr::test::ScratchDirectory other;
  const std::string first = elsewhere.path().string() + '/';
  const std::string second = other.path().string() + '/';
};

TEST_F(Claims, directory_of_a_living_process_is_refused_until_that_ends_in_any_way) {
  for (const auto ending :
       {ChildProcess::Ending::Exit, ChildProcess::Ending::Quick, ChildProcess::Ending::Killed}) {
    ChildProcess living([&] { return askFor(first); }, ending);
    EXPECT_EQ(living.text(), first);
    EXPECT_EQ(inOther(first), kInUse);
    EXPECT_EQ(inOther(second), second);
    living.end();
    EXPECT_EQ(inOther(first), first);
  }
}

TEST_F(Claims, refusal_names_the_directory_and_is_held_back_by_a_trap) {
  const ChildProcess living([&] { return askFor(first); });
  const std::string text = inProcess([&] {
    askFor(first);
    vrArray* answer = nullptr;
    if (ipCallFcnWithTrap(1, &answer, 0, nullptr, "tempdir", 1) == 0)
      return std::string("no failure");
    try {
      vormel::rethrowTrappedFailure();
    } catch (const vormel::HostError& failure) {
      return std::string(failure.what());
    }
    return std::string("no failure");
  });
  EXPECT_THAT(text, HasSubstr(first));
  EXPECT_THAT(text, HasSubstr("Another process"));
}

TEST_F(Claims, go_by_the_directory_and_not_by_its_name) {
  const ChildProcess living([&] { return askFor(first + "part"); });
  EXPECT_EQ(living.text(), first + "part");
  fs::create_directory_symlink(first, second + "link");
  EXPECT_EQ(inOther(first), kInUse);
  EXPECT_EQ(inOther(second + "link/"), kInUse);
  EXPECT_EQ(inOther(second + "link"), second + "link");
  EXPECT_EQ(inProcess([&] {
              fs::current_path(first);
              return askFor("part");
            }),
            kInUse);
}

TEST_F(Claims, only_the_latest_is_kept) {
  const ChildProcess living([&] { return askFor(first) == first ? askFor(second) : "failed"; });
  EXPECT_EQ(living.text(), second);
  EXPECT_EQ(inOther(first), first);
  EXPECT_EQ(inOther(second), kInUse);
}

TEST_F(Claims, failed_and_empty_answers_leave_the_one_before) {
  const ChildProcess holder([&] { return askFor(first); });
  const ChildProcess living([&] { return askFor(second) + askFor(first) + askFor(""); });
  EXPECT_EQ(living.text(), second + kInUse);
  EXPECT_EQ(inOther(second), kInUse);
}

TEST_F(Claims, private_directory_needs_none_and_frees_the_one_before) {
  const ChildProcess living([&] {
    askFor(first);
    vormel::HostFunctions::instance().reset("tempdir");
    const bool isOwn = ask() == tempdirPath() && askFor(tempdirPath()) == tempdirPath();
    return (isOwn ? "own " : "not own ") + inProcess(callMethod);
  });
  EXPECT_EQ(living.text(), "own called");
  EXPECT_EQ(inOther(first), first);
}

TEST_F(Claims, private_directory_by_its_plain_path_is_its_owners_alone) {
  const ChildProcess living([&] {
    const std::string plain = fs::canonical(tempdirPath()).string() + '/';
    if (askFor(plain) != plain || !makeFile(plain + "KVR.vdf")) return std::string("failed");
    return plain + ' ' + inProcess(callMethod).substr(0, 13);
  });
  const std::string plain = living.text().substr(0, living.text().find(' '));
  EXPECT_EQ(living.text(), plain + " Vormel:Forked");
  EXPECT_EQ(inOther(plain), kInUse);
}

TEST_F(Claims, take_one_descriptor_however_often_is_asked) {
  const std::string text = inProcess([&] {
    askFor(first);
    const int before = openDescriptors();
    for (int i = 0; i < 100; ++i) askFor(i % 2 == 0 ? second : first);
    return openDescriptors() == before ? "one" : "more";
  });
  EXPECT_EQ(text, "one");
}

TEST_F(Claims, exhausted_descriptors_fail_and_leave_the_one_before) {
  const ChildProcess living([&] {
    askFor(first);
    vormel::HostFunctions::instance().set("tempdir", [&] { return kvr::test::aText(second); });
    try {
      const kvr::test::FewestDescriptors none(0);
      vrArray* answer = nullptr;
      ipCallFcnWithTrap(1, &answer, 0, nullptr, "tempdir", 0);
    } catch (const vormel::HostError& failure) {
      return failure.identifier();
    }
    return std::string("no failure");
  });
  EXPECT_EQ(living.text(), "Vormel:DirectoryNotClaimed");
  EXPECT_EQ(inOther(first), kInUse);
}

TEST_F(Claims, directory_that_cannot_be_opened_is_no_obstacle) {
  EXPECT_EQ(inOther("/nowhere/at/all/"), "/nowhere/at/all/");
  const std::string text = inProcess([&] {
    fs::permissions(first, static_cast<fs::perms>(0733));
    if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
      return std::string();
    const std::string answer = askFor(first);
    const bool isUsable = makeFile(answer + "KVR.vdf") && putNumber(answer + "KVR.vdf", "a", 1);
    return (isUsable ? "usable " : "not usable ") + inProcess(callMethod).substr(0, 13);
  });
  if (text.empty()) GTEST_SKIP() << "the user cannot be changed here";
  EXPECT_EQ(text, "usable Vormel:Forked");
}

TEST_F(Claims, forked_child_is_refused_and_the_parent_goes_on) {
  const std::string text = inProcess([&] {
    const std::string path = askFor(first) + "KVR.vdf";
    if (!makeFile(path) || !putNumber(path, "a", 1)) return std::string("no file");
    const std::string child =
        inProcess([&] { return callMethod() + '\n' + inProcess(callMethod); });
    return child + '\n' + numberAt(path, "a") + callMethod();
  });
  const std::string refusal =
      "Vormel:Forked This process was forked from one that keeps its scratch file in " + first +
      ", where \"tempdir\" was replaced. Start a new program instead (exec, or \"spawn\" of "
      "Python's "
      "multiprocessing), or fork before the first scratch file is made; the host's own \"tempdir\" "
      "can be shared by a fork.";
  EXPECT_EQ(text, refusal + '\n' + refusal + "\n1called");
}

TEST_F(Claims, forked_child_goes_on_while_there_is_no_file) {
  const std::string text = inProcess([&] {
    const std::string path = askFor(first) + "KVR.vdf";
    const std::string before = inProcess(callMethod);
    makeFile(path);
    fs::remove(path);
    return before + ' ' + inProcess([&] { return callMethod() + ' ' + inProcess(callMethod); });
  });
  EXPECT_EQ(text, "called called called");
}

// Its module still knows the path, and would remove the file when it cleans.
TEST_F(Claims, forked_child_is_refused_from_when_the_parent_makes_a_file_to_when_that_is_gone) {
  const std::string text = inProcess([&] {
    const std::string path = askFor(first) + "KVR.vdf";
    makeFile(path);
    fs::remove(path);
    return inProcess([&] {
      std::string states = callMethod();
      std::ofstream(path) << "as the parent makes it";
      states += ' ' + callMethod().substr(0, 13);
      fs::remove(path);
      return states + ' ' + callMethod();
    });
  });
  EXPECT_EQ(text, "called Vormel:Forked called");
}

TEST_F(Claims, forked_child_with_a_directory_of_its_own_is_not_refused_any_more) {
  const std::string text = inProcess([&] {
    const std::string path = askFor(first) + "KVR.vdf";
    makeFile(path);
    fs::remove(path);
    return inProcess([&] {
      const std::string sameAnswer = askFor(first);
      vormel::HostFunctions::instance().reset("tempdir");
      const bool isOwn = ask() == tempdirPath();
      std::ofstream(path) << "as the parent makes it";
      return sameAnswer + (isOwn ? " own " : " not own ") + callMethod();
    });
  });
  EXPECT_EQ(text, kInUse + " own called");
}

// The parent waits until its child runs: the fork's handlers have let go of the lock then.
TEST_F(Claims, forked_child_that_outlives_its_parent_holds_nothing) {
  int release[2];
  int running[2];
  ASSERT_EQ(pipe(release), 0);
  ASSERT_EQ(pipe(running), 0);
  const std::string text = inProcess([&] {
    const std::string answer = askFor(first);
    const pid_t child = fork();
    char byte = 0;
    if (child != 0) return read(running[0], &byte, 1) == 1 ? answer : "child does not run";
    close(release[1]);
    const bool isRunning = write(running[1], &byte, 1) == 1;
    const bool isReleased = read(release[0], &byte, 1) == 0;
    _exit(isRunning && isReleased ? 0 : 1);
  });
  EXPECT_EQ(text, first);
  EXPECT_EQ(inOther(first), first);
  for (const int end : {release[0], release[1], running[0], running[1]}) close(end);
}

TEST_F(Claims, fork_before_the_first_one_leaves_both_free_to_claim) {
  const std::string text = inProcess([&] {
    const ChildProcess child([&] { return askFor(first) == first ? callMethod() : "failed"; });
    return child.text() + ' ' + askFor(first) + ' ' + callMethod();
  });
  EXPECT_EQ(text, "called " + kInUse + " called");
}

TEST_F(Claims, own_answer_that_is_no_text_is_handed_on) {
  const std::string text = inProcess([&] {
    vormel::HostFunctions::instance().set("tempdir", [] { return kvr::test::aNumber(5); });
    vrArray* answer = nullptr;
    const vormel::CallScope scope;
    ipCallFcnWithTrap(1, &answer, 0, nullptr, "tempdir", 0);
    return std::to_string(static_cast<int>(vrGetScalar(vormel::OwnedArray(answer).get())));
  });
  EXPECT_EQ(text, "5");
}

}  // namespace
