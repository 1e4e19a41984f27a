// Processes of a test's own, for what a process does to others and leaves behind as it ends.
//
//   const std::string path = ChildProcess([] { return tempdirPath(); }).text();
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

namespace kvr::test {

// A forked process that runs an action, reports the text that it returned or "failed: ..." and then
// waits until it is told to end. What lives in it at the fork it shares with the test.
class ChildProcess {
 public:
  enum class Ending {
    Exit,    // with what runs at exit
    Quick,   // _exit
    Killed,  // SIGKILL, while it waits
  };

  explicit ChildProcess(const std::function<std::string()>& action, Ending ending = Ending::Exit)
      : ending_(ending) {
    std::fflush(nullptr);
    if (pipe(report_) != 0 || pipe(release_) != 0) throw std::runtime_error("no pipe");
    child_ = fork();
    if (child_ < 0) throw std::runtime_error("no process");
    if (child_ == 0) run(action);
    close(report_[1]);
    close(release_[0]);
    readText();
  }
  ~ChildProcess() { end(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  const std::string& text() const noexcept { return text_; }

  // Has it end, in the way that was chosen, and waits for that.
  void end() {
    if (child_ < 0) return;
    if (ending_ == Ending::Killed) kill(child_, SIGKILL);
    close(release_[1]);
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    if (ending_ == Ending::Killed) {
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    } else {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
  }

 private:
  [[noreturn]] void run(const std::function<std::string()>& action) {
    close(report_[0]);
    close(release_[1]);
    std::string text;
    try {
      text = action();
    } catch (const std::exception& failure) {
      text = std::string("failed: ") + failure.what();
    }
    const bool isReported =
        write(report_[1], text.c_str(), text.size() + 1) == static_cast<ssize_t>(text.size() + 1);
    close(report_[1]);
    char end;
    const bool isReleased = read(release_[0], &end, 1) == 0;
    const int status = isReported && isReleased ? 0 : 1;
    ending_ == Ending::Exit ? std::exit(status) : _exit(status);
  }

  // Up to a NUL: processes forked from the child may keep the pipe open.
  void readText() {
    for (char next = 0; read(report_[0], &next, 1) == 1 && next != '\0';) text_ += next;
    close(report_[0]);
  }

  Ending ending_;
  int report_[2] = {};
  int release_[2] = {};
  pid_t child_ = -1;
  std::string text_;
};

// Runs the action in a process of its own to its end; returns what it reports.
inline std::string inProcess(const std::function<std::string()>& action,
                             ChildProcess::Ending ending = ChildProcess::Ending::Exit) {
  ChildProcess process(action, ending);
  process.end();
  return process.text();
}

}  // namespace kvr::test
