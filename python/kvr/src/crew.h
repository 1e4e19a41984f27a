// Threads that do pieces of work beside the thread that hands them out and does some itself.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace kvr::python {

// Its operations are for one calling thread. Pieces of work touch no object of Python: the threads
// never take the interpreter lock, so that a caller that holds it does not keep them waiting.
class Crew {
 public:
  // Whether to stop; a piece of work asks now and then, and throws compare::Stopped.
  using Poll = std::function<bool()>;
  using Work = std::function<void(const Poll&)>;

  // Starts so many threads; fewer, or none, if the system has no more.
  explicit Crew(std::size_t threads);
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;
  // Drops the pieces that wait, stops those that run, and ends the threads. In a forked process,
  // which has none of the threads, does nothing.
  ~Crew();

  void give(Work work);

  // How many pieces were given and have not ended.
  std::size_t unfinished() const;

  // Does the piece that has waited longest; false if none waits. Fails as the piece does.
  bool helpOne(const Poll& poll);

  // Waits at most so long for fewer than `most` unfinished pieces; whether there are. Fails as the
  // first piece did that failed in one of the threads.
  bool waitForFewer(std::size_t most, std::chrono::milliseconds patience);

 private:
  struct Shared;

  std::unique_ptr<Shared> shared_;
  pid_t process_;
};

}  // namespace kvr::python
