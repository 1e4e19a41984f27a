// Writing and reading while memory runs out, a system call fails, or the process is killed in one,
// at each place in turn until nothing is left that could fail. After each the file holds what it
// held before, or all that was written.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <new>

#include "tests/embedded_host/failing_sqlite_memory.h"
#include "tests/embedded_host/system_faults.h"
#include "tests/recording/sample.h"
#include "tests/reliability/heap_faults.h"
#include "tests/support/largest_file.h"
#include "tests/support/scratch_directory.h"

namespace kvr::test {
namespace {

using namespace recording;
namespace fs = std::filesystem;

// ---- What is done to the file ----

// 100,000 doubles and their times are more than SQLite holds in memory by default.
constexpr std::size_t samples = 150'000;

void replace(const std::string& path) {
  Writer writer = Writer::create(path);
  addRun(writer, "new", 5, samples);
  writer.commit();
}

void append(const std::string& path) {
  Writer writer = Writer::append(path);
  addRun(writer, "more", 5, samples);
  writer.commit();
}

class FaultsTest : public ::testing::Test {
 protected:
  FaultsTest() {
    writeSample(path());
    image_ = readFile(path());
    before_ = contentOf(path());
    replace(other());
    replaced_ = contentOf(other());
    writeFile(other(), image_);
    append(other());
    appended_ = contentOf(other());
    fs::remove(other());
  }

  std::string path() const { return directory_.file("drive.kvr"); }
  std::string other() const { return directory_.file("other.kvr"); }

  void requireWhole(const std::string& after, bool isDone) {
    const std::string found = contentOf(path());
    if (isDone) {
      ASSERT_TRUE(found == after);
    } else {
      ASSERT_TRUE(found == before_ || found == after);
    }
    ASSERT_TRUE(verify(path()).empty());
  }

  // Runs the action with its plan number `first` until none is injected any more.
  template <class Plan>
  void sweep(void (*action)(const std::string&), const std::string& after, int step,
             const Plan& planned) {
    const sqlite3_int64 memory = sqlite3_memory_used();
    for (std::uint64_t first = 1;; first += static_cast<std::uint64_t>(step)) {
      writeFile(path(), image_);
      bool isDone = false;
      const bool wasInjected = planned(first, [&] {
        try {
          action(path());
          isDone = true;
        } catch (const std::bad_alloc&) {
        } catch (const SystemError&) {
        } catch (const FormatError&) {
        }
      });
      requireWhole(after, isDone);
      ASSERT_FALSE(HasFatalFailure()) << "fault " << first;
      ASSERT_EQ(sqlite3_memory_used(), memory) << "fault " << first;
      if (!wasInjected) {
        ASSERT_TRUE(isDone);
        break;
      }
      ASSERT_LT(first, 100'000U);
    }
    replace(path());
    const fs::directory_iterator files(directory_.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "something was left behind";
  }

  ScratchDirectory directory_;
  std::string image_;
  std::string before_;
  std::string replaced_;
  std::string appended_;
};

auto systemPlan(SystemCall call, SystemFault fault, bool isLasting) {
  return [=](std::uint64_t first, const std::function<void()>& body) {
    SystemPlan plan(call, fault, first, isLasting);
    body();
    return plan.injected() > 0;
  };
}

int stepOf(int usual) { return std::getenv("KVR_LONG_TESTS") != nullptr ? 1 : usual; }

TEST_F(FaultsTest, SqliteLacksMemory) {
  for (const bool isLasting : {false, true}) {
    const auto plan = systemPlan(SystemCall::SqliteMemory, SystemFault::NoRoom, isLasting);
    sweep(replace, replaced_, stepOf(37), plan);
    sweep(append, appended_, stepOf(37), plan);
  }
}

TEST_F(FaultsTest, HeapIsExhausted) {
  for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always}) {
    const auto plan = [=](std::uint64_t first, const std::function<void()>& body) {
      HeapPlan faults(first, repeat);
      body();
      return faults.injected() > 0;
    };
    sweep(replace, replaced_, stepOf(3), plan);
    sweep(append, appended_, stepOf(3), plan);
  }
}

TEST_F(FaultsTest, DiskFails) {
  for (const SystemFault fault : {SystemFault::NoRoom, SystemFault::Broken}) {
    for (const bool isLasting : {false, true}) {
      sweep(replace, replaced_, stepOf(17), systemPlan(SystemCall::Write, fault, isLasting));
      sweep(append, appended_, stepOf(17), systemPlan(SystemCall::Write, fault, isLasting));
    }
    sweep(append, appended_, stepOf(3), systemPlan(SystemCall::Read, fault, false));
    sweep(replace, replaced_, 1, systemPlan(SystemCall::Sync, fault, false));
    sweep(append, appended_, 1, systemPlan(SystemCall::Sync, fault, false));
    sweep(replace, replaced_, 1, systemPlan(SystemCall::Open, fault, false));
    sweep(append, appended_, 1, systemPlan(SystemCall::Open, fault, false));
  }
}

TEST_F(FaultsTest, FileThatIsNotOnTheDiskReplacesNone) {
  const SystemPlan plan(SystemCall::Sync, SystemFault::Broken, 1, false);
  EXPECT_THROW(replace(path()), SystemError);
  EXPECT_EQ(plan.injected(), 1U);
  EXPECT_EQ(readFile(path()), image_);
}

TEST_F(FaultsTest, ReadingWithoutMemory) {
  for (const bool isLasting : {false, true}) {
    for (std::uint64_t first = 1;; ++first) {
      std::string found;
      std::uint64_t injected = 0;
      {
        SystemPlan plan(SystemCall::SqliteMemory, SystemFault::NoRoom, first, isLasting);
        try {
          found = contentOf(path());
        } catch (const std::bad_alloc&) {
        }
        injected = plan.injected();
      }
      ASSERT_TRUE(found.empty() || found == before_) << first;
      if (injected == 0) break;
    }
    for (std::uint64_t first = 1;; first += static_cast<std::uint64_t>(stepOf(5))) {
      std::string found;
      HeapPlan plan(first, isLasting ? FaultRepeat::Always : FaultRepeat::Once);
      try {
        found = contentOf(path());
      } catch (const std::bad_alloc&) {
      }
      if (plan.injected() == 0) break;
      ASSERT_TRUE(found.empty() || found == before_) << first;
    }
  }
}

TEST_F(FaultsTest, FullDiskSaysSo) {
  const LargestFile limit(200'000);
  for (void (*action)(const std::string&) : {replace, append}) {
    try {
      action(path());
      FAIL() << "the disk took everything";
    } catch (const SystemError& error) {
      EXPECT_TRUE(error.code().value() == EFBIG || error.code().value() == ENOSPC)
          << error.code().message();
    }
    EXPECT_EQ(contentOf(path()), before_);
  }
}

class KilledTest : public FaultsTest,
                   public ::testing::WithParamInterface<void (*)(const std::string&)> {};

// At every write in turn, or a sample of them, and every sync.
TEST_P(KilledTest, LeavesAWholeFile) {
  const std::string& after = GetParam() == replace ? replaced_ : appended_;
  for (const SystemCall call : {SystemCall::Write, SystemCall::Sync}) {
    const int step = call == SystemCall::Write ? stepOf(11) : 1;
    for (std::uint64_t first = 1;; first += static_cast<std::uint64_t>(step)) {
      writeFile(path(), image_);
      const pid_t child = fork();
      ASSERT_GE(child, 0);
      if (child == 0) {
        const SystemPlan plan(call, SystemFault::Killed, first, false);
        GetParam()(path());
        _exit(0);
      }
      int status = 0;
      waitpid(child, &status, 0);
      requireWhole(after, WIFEXITED(status));
      ASSERT_FALSE(HasFatalFailure()) << "call " << first;
      if (WIFEXITED(status)) break;
      ASSERT_EQ(WTERMSIG(status), SIGKILL);
    }
  }
  replace(path());
  const fs::directory_iterator files(directory_.path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "something was left behind";
}

INSTANTIATE_TEST_SUITE_P(Writing, KilledTest, ::testing::Values(replace, append));

}  // namespace
}  // namespace kvr::test
