#include "python/kvr/src/crew.h"

#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "compare/compare.h"

namespace kvr::python {

struct Crew::Shared {
  std::mutex mutex;
  std::condition_variable given, ended;
  std::deque<Work> waiting;
  std::size_t running = 0;
  bool isClosing = false;
  std::exception_ptr failure;
  std::atomic<bool> isStopped = false;
  std::vector<std::thread> threads;

  // What one of the threads does until the crew is closed.
  void serve() {
    const Poll poll = [this] { return isStopped.load(std::memory_order_relaxed); };
    std::unique_lock lock(mutex);
    for (;;) {
      given.wait(lock, [this] { return isClosing || !waiting.empty(); });
      if (isClosing) return;
      std::exception_ptr failed;
      doFirst(lock, poll, failed);
      if (failed && !failure) failure = failed;
    }
  }

  // Does the first piece that waits, with the lock released meanwhile.
  void doFirst(std::unique_lock<std::mutex>& lock, const Poll& poll, std::exception_ptr& failed) {
    {
      const Work work = std::move(waiting.front());
      waiting.pop_front();
      ++running;
      lock.unlock();
      try {
        work(poll);
      } catch (...) {
        failed = std::current_exception();
      }
    }
    lock.lock();
    --running;
    ended.notify_one();
  }

  std::size_t unfinished() const { return waiting.size() + running; }
};

Crew::Crew(std::size_t threads) : shared_(std::make_unique<Shared>()), process_(getpid()) {
  shared_->threads.reserve(threads);
  try {
    for (std::size_t i = 0; i < threads; ++i)
      shared_->threads.emplace_back([shared = shared_.get()] { shared->serve(); });
  } catch (const std::system_error&) {
    // The caller does what the others do not.
  }
}

Crew::~Crew() {
  if (process_ != getpid()) {
    static_cast<void>(shared_.release());  // its lock may be held by a thread that is not here
    return;
  }
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->isClosing = shared_->isStopped = true;
  }
  shared_->given.notify_all();
  for (std::thread& thread : shared_->threads) thread.join();
}

void Crew::give(Work work) {
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->waiting.push_back(std::move(work));
  }
  shared_->given.notify_one();
}

std::size_t Crew::unfinished() const {
  const std::lock_guard lock(shared_->mutex);
  return shared_->unfinished();
}

bool Crew::helpOne(const Poll& poll) {
  std::unique_lock lock(shared_->mutex);
  if (shared_->waiting.empty()) return false;
  std::exception_ptr failed;
  shared_->doFirst(lock, poll, failed);
  if (failed) std::rethrow_exception(failed);
  return true;
}

bool Crew::waitForFewer(std::size_t most, std::chrono::milliseconds patience) {
  std::unique_lock lock(shared_->mutex);
  const bool found =
      shared_->ended.wait_for(lock, patience, [&] { return shared_->unfinished() < most; });
  if (shared_->failure) std::rethrow_exception(shared_->failure);
  return found;
}

}  // namespace kvr::python
