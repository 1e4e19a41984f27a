// Opening, putting and getting while a system call fails, the process is killed in it, or memory
// runs out, at each place in turn until nothing is left that could fail. After each the file holds
// what it held before, or all of what was put, and takes more.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numeric>

#include "embedded_host/files/value_bytes.h"
#include "kvrntob/host/ntob.h"
#include "tests/embedded_host/failing_sqlite_memory.h"
#include "tests/embedded_host/system_faults.h"
#include "tests/reliability/heap_faults.h"
#include "tests/support/array_builders.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

// ---- The file and what is done to it ----

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Two pieces, 40 pages.
OwnedArray aLargeColumn(double first, std::size_t size = 40'000) {
  std::vector<double> values(size);
  std::iota(values.begin(), values.end(), first);
  return aColumn(values);
}

// The first few all, later ones in growing steps: page after page is alike there.
std::uint64_t after(std::uint64_t number) { return number + 1 + number / 24; }

struct Case {
  const char* description;
  const char* name;
  OwnedArray value;
};

class FilesFaults : public VariableFileTest {
 protected:
  void SetUp() override {
    VariableFileTest::SetUp();
    keep("small", aTimeseries({1, 2}, {3, 4}));
    keep("large", aLargeColumn(0));
    ASSERT_TRUE(put(path, "gone", aLargeColumn(7)));
    ASSERT_TRUE(put(path, "gone", aNumber(1)));  // leaves free pages
    image_ = contentOf(path);
    cases_.push_back({"a new small one", "new", aRow({1, 2, 3})});
    cases_.push_back({"a new large one", "new", aLargeColumn(1)});
    cases_.push_back({"a small one replaced", "small", aText("replaced")});
    cases_.push_back({"a large one replaced", "large", aLargeColumn(2)});
    descriptors_ = openDescriptors();
  }

  void keep(const std::string& name, OwnedArray array) {
    ASSERT_TRUE(put(path, name, array));
    kept_.emplace_back(name, std::move(array));
  }

  void restore() const { std::ofstream(path, std::ios::binary | std::ios::trunc) << image_; }

  // What the file must hold after a put that has failed or not. "" if it does.
  std::string wrongAfter(const Case& what, bool isPut) const {
    const OpenFile file = openFile(path, "r");
    if (file == nullptr) return "the file does not open: " + vormel::lastFileError();
    const auto holds = [&](const std::string& name, const vrArray* expected) {
      const OwnedArray found(vfGetVariable(file.get(), name.c_str()));
      return expected == nullptr ? !found : found && vormel::equal(found.get(), expected);
    };
    const vrArray* before = nullptr;
    for (const auto& [name, array] : kept_) {
      if (name == what.name) before = array.get();
      if (name != what.name && !holds(name, array.get())) return name + " is not as it was";
    }
    if (!holds(what.name, isPut ? what.value.get() : before)) {
      return isPut ? "what was put is not there" : "the variable is not as it was";
    }
    return "";
  }

  bool isSoundToSqlite() const {
    sqlite3* database = nullptr;
    sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    std::string answer;
    const auto read = [](void* text, int, char** columns, char**) {
      static_cast<std::string*>(text)->append(columns[0]);
      return 0;
    };
    sqlite3_exec(database, "PRAGMA integrity_check", read, &answer, nullptr);
    sqlite3_close(database);
    return answer == "ok";
  }

  // The file takes variables again, and is whole.
  void expectMended(const Case& what) const {
    EXPECT_TRUE(put(path, what.name, what.value)) << vormel::lastFileError();
    EXPECT_EQ(wrongAfter(what, true), "");
    EXPECT_TRUE(isSoundToSqlite());
    EXPECT_EQ(openDescriptors(), descriptors_);
  }

  // What came of an action under a plan.
  struct Outcome {
    bool isDone;
    bool wasFault;
  };

  // Puts with fault number 1, 2 and so on until nothing is left that could fail. `action` puts
  // under the fault of that number.
  template <class Action>
  void sweep(const Case& what, const Action& action) {
    for (std::uint64_t number = 1;; number = after(number)) {
      SCOPED_TRACE(std::string(what.description) + ", " + std::to_string(number));
      restore();
      const Outcome outcome = action(number);
      EXPECT_EQ(wrongAfter(what, outcome.isDone), "");
      if (!outcome.wasFault) {
        EXPECT_TRUE(outcome.isDone);
        return;
      }
      failures_ += outcome.isDone ? 0 : 1;
      expectMended(what);
      if (HasFailure()) return;
    }
  }

  void sweepCalls(SystemCall call, SystemFault fault, bool isLasting) {
    for (const Case& what : cases_) {
      sweep(what, [&](std::uint64_t number) -> Outcome {
        const SystemPlan plan(call, fault, number, isLasting);
        const bool isDone = put(path, what.name, what.value);
        return {isDone, plan.injected() > 0};
      });
    }
  }

  int failures_ = 0;
  std::string image_;
  std::vector<std::pair<std::string, OwnedArray>> kept_;
  std::vector<Case> cases_;
  std::size_t descriptors_ = 0;
};

TEST_F(FilesFaults, put_survives_every_failing_system_call) {
  for (const SystemCall call :
       {SystemCall::Open, SystemCall::Status, SystemCall::Read, SystemCall::Write,
        SystemCall::Truncate, SystemCall::SqliteMemory}) {
    failures_ = 0;
    for (const bool isLasting : {false, true}) {
      sweepCalls(call, SystemFault::Broken, isLasting);
      if (call == SystemCall::Write) sweepCalls(call, SystemFault::NoRoom, isLasting);
    }
    const bool isHarmless = call == SystemCall::Truncate;  // it tidies up
    EXPECT_EQ(failures_ > 0, !isHarmless) << static_cast<int>(call);
  }
}

// SQLite writes pages before the commit when it holds too many.
TEST_F(FilesFaults, put_beyond_the_page_cache_survives_failing_writes) {
  cases_.clear();
  cases_.push_back({"a very large one", "new", aLargeColumn(1, 400'000)});
  cases_.push_back({"a very large one replaced", "large", aLargeColumn(2, 400'000)});
  sweepCalls(SystemCall::Write, SystemFault::Broken, true);
  EXPECT_GT(failures_, 100);
}

TEST_F(FilesFaults, lock_that_another_process_holds_refuses_the_put) {
  const int held = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(held, LOCK_SH), 0);
  EXPECT_FALSE(put(path, "x", aNumber(1)));
  EXPECT_TRUE(get(path, "small"));
  close(held);
  EXPECT_TRUE(put(path, "x", aNumber(1)));
}

TEST_F(FilesFaults, short_reads_and_writes_are_continued) {
  for (const SystemCall call : {SystemCall::Read, SystemCall::Write}) {
    for (const Case& what : cases_) {
      restore();
      const SystemPlan plan(call, SystemFault::Short, 1, true);
      EXPECT_TRUE(put(path, what.name, what.value));
      EXPECT_GT(plan.injected(), 0U);
      EXPECT_EQ(wrongAfter(what, true), "");
    }
  }
}

// Also while the disk goes on failing.
TEST_F(FilesFaults, variables_can_be_read_while_no_write_gets_through) {
  for (const Case& what : cases_) {
    for (std::uint64_t number = 1;; number = after(number)) {
      restore();
      const SystemPlan plan(SystemCall::Write, SystemFault::Broken, number, true);
      const bool isPut = put(path, what.name, what.value);
      ASSERT_EQ(wrongAfter(what, isPut), "") << what.description << ", " << number;
      if (plan.injected() == 0) break;
    }
  }
}

TEST_F(FilesFaults, handle_goes_on_after_every_failing_write) {
  for (const Case& what : cases_) {
    sweep(what, [&](std::uint64_t number) -> Outcome {
      const OpenFile file = openFile(path, "u");
      bool isDone = false;
      bool wasFault = false;
      {
        const SystemPlan plan(SystemCall::Write, SystemFault::Broken, number, true);
        isDone = vfPutVariable(file.get(), what.name, what.value.get()) == 0;
        wasFault = plan.injected() > 0;
      }
      EXPECT_EQ(wrongAfter(what, isDone), "");
      const OwnedArray number5 = aNumber(5);
      EXPECT_EQ(vfPutVariable(file.get(), "other", number5.get()), 0) << vormel::lastFileError();
      const OwnedArray back(vfGetVariable(file.get(), "other"));
      EXPECT_TRUE(back && vormel::equal(back.get(), number5.get()));
      return {isDone, wasFault};
    });
  }
}

// A child is killed in its n-th system call. The sanitizers do not see into it; the file tells.
TEST_F(FilesFaults, process_killed_anywhere_in_a_put_leaves_the_old_or_the_new) {
  int kills = 0;
  for (const SystemCall call : {SystemCall::Write, SystemCall::Truncate}) {
    for (const Case& what : cases_) {
      for (std::uint64_t number = 1;; number = after(number)) {
        restore();
        const pid_t child = fork();
        if (child == 0) {
          const SystemPlan plan(call, SystemFault::Killed, number, false);
          _exit(put(path, what.name, what.value) ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        const bool isDone = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        ASSERT_TRUE(isDone || (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)) << status;
        const bool isNew = wrongAfter(what, true).empty();
        EXPECT_TRUE(isNew || (!isDone && wrongAfter(what, false).empty()))
            << what.description << ", " << number;
        if (isDone) break;
        ++kills;
        expectMended(what);
      }
    }
  }
  EXPECT_GT(kills, 40);
}

TEST_F(FilesFaults, get_survives_every_failing_system_call) {
  for (const SystemCall call :
       {SystemCall::Open, SystemCall::Status, SystemCall::Read, SystemCall::SqliteMemory}) {
    for (const bool isLasting : {false, true}) {
      for (const auto& [name, array] : kept_) {
        for (std::uint64_t number = 1;; number = after(number)) {
          const SystemPlan plan(call, SystemFault::Broken, number, isLasting);
          OwnedArray found;
          bool isOutOfMemory = false;
          try {
            found = get(path, name);
          } catch (const ntob::TOBOutOfMemoryException&) {
            isOutOfMemory = true;
          }
          EXPECT_TRUE(!isOutOfMemory || call == SystemCall::SqliteMemory);
          EXPECT_TRUE(!found || vormel::equal(found.get(), array.get())) << name;
          if (plan.injected() > 0) continue;
          EXPECT_TRUE(found) << name;
          break;
        }
      }
    }
  }
  EXPECT_EQ(openDescriptors(), descriptors_);
}

TEST_F(FilesFaults, making_a_file_survives_every_failing_system_call) {
  for (const SystemCall call : {SystemCall::Open, SystemCall::Write}) {
    for (std::uint64_t number = 1;; number = after(number)) {
      bool wasFault = false;
      {
        const SystemPlan plan(call, SystemFault::NoRoom, number, true);
        const OpenFile made = openFile(path, "w7.3");
        wasFault = plan.injected() > 0;
        EXPECT_EQ(made == nullptr, wasFault);
      }
      EXPECT_EQ(std::filesystem::exists(path), !wasFault);
      EXPECT_EQ(openDescriptors(), descriptors_);
      if (!wasFault) break;
    }
  }
}

// ---- The host's own memory ----

TEST_F(FilesFaults, put_survives_every_failing_allocation_of_the_heap) {
  for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always}) {
    for (const Case& what : cases_) {
      sweep(what, [&](std::uint64_t number) -> Outcome {
        const OpenFile file = openFile(path, "u");
        HeapPlan plan(number, repeat);
        const bool isDone = vfPutVariable(file.get(), what.name, what.value.get()) == 0;
        return {isDone, plan.injected() > 0};
      });
    }
  }
  EXPECT_GT(failures_, 0);
}

TEST_F(FilesFaults, get_survives_every_failing_allocation_of_heap_and_host) {
  for (const bool isHeap : {true, false}) {
    for (const FaultRepeat repeat : {FaultRepeat::Once, FaultRepeat::Always}) {
      for (const auto& kept : kept_) {
        const std::string& name = kept.first;
        for (std::uint64_t number = 1;; number = after(number)) {
          const OpenFile file = openFile(path, "r");
          OwnedArray found;
          std::uint64_t injected = 0;
          const auto attempt = [&](const auto& plan) {
            try {
              found.reset(vfGetVariable(file.get(), name.c_str()));
            } catch (const ntob::TOBOutOfMemoryException&) {
            } catch (const std::bad_alloc&) {
            }
            injected = plan.injected();
          };
          if (isHeap) {
            attempt(HeapPlan(number, repeat));
          } else {
            attempt(FaultPlan(FaultSite::Memory, number, repeat));
          }
          EXPECT_EQ(!found, injected > 0) << name << ' ' << number;
          if (injected == 0) break;
        }
      }
    }
  }
}

// ---- Values as bytes ----

// Repeats the action under fault 1, 2 and so on of heap and host memory until none is left; each
// ends in exhausted memory.
template <class Action>
void expectOutOfMemory(const Action& action) {
  const auto isDone = [&](const auto& plan) {
    bool isOut = false;
    try {
      action();
    } catch (const ntob::TOBOutOfMemoryException&) {
      isOut = true;
    }
    EXPECT_EQ(isOut, plan.injected() > 0);
    return plan.injected() == 0;
  };
  std::uint64_t number = 1;
  while (!isDone(HeapPlan(number, FaultRepeat::Once))) ++number;
  for (number = 1; !isDone(FaultPlan(FaultSite::Memory, number));) ++number;
}

TEST(ValueBytesFaults, bytes_without_memory_are_an_exhausted_memory_exception) {
  const LiveArraysGuard liveArrays;
  OwnedArray cell = aCell({1, 3});
  vormel::setCellElement(cell.get(), 0, aTimeseries({1, 2}, {3, 4}).release());
  vormel::setCellElement(cell.get(), 1, aStruct({"a name beyond sixteen", "b"}, {1, 2}).release());
  vormel::setCellElement(cell.get(), 2, owned(vormel::makeFunctionHandle("sin")).release());
  std::vector<std::byte> bytes(vormel::dumpedSize(cell.get()));
  expectOutOfMemory([&] { EXPECT_EQ(vormel::dumpedSize(cell.get()), bytes.size()); });
  vormel::dumpValue(cell.get(), bytes.data());
  OwnedArray back;
  expectOutOfMemory([&] { back = vormel::loadValue(bytes); });
  EXPECT_TRUE(vormel::equal(back.get(), cell.get()));
}

}  // namespace
}  // namespace kvr::test
