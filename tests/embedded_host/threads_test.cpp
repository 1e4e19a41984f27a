// Several threads and the host: one at a time is served, the others are refused, and none of them
// races with another.
#include <pthread.h>

#include <atomic>
#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/arrays/host_entry.h"
#include "tests/embedded_host/sample_fixture.h"
#include "tests/support/replaced_function.h"

namespace {

using kvr::test::aNumber;
using kvr::test::aText;
using kvr::test::ReplacedFunction;
using kvr::test::SampleTest;
using vormel::Object;
using vormel::OwnedArray;

// The identifier of the refusal, or "".
std::string refusalOf(const std::function<void()>& action) {
  try {
    action();
    return "";
  } catch (const vormel::CallRefused& refusal) {
    return refusal.functionName() ? "with a function" : refusal.identifier();
  }
}

class Threads : public SampleTest {
 protected:
  // Runs an action on another thread while this one is inside a call.
  void elsewhere(const std::function<void()>& action) {
    const ReplacedFunction now("now", [&] {
      std::thread(action).join();
      return aNumber(1);
    });
    box_.call("callFunction", {"now"});
  }

  // What becomes of the action there.
  std::string refusalElsewhere(const std::function<void()>& action) {
    std::string refusal;
    elsewhere([&] { refusal = refusalOf(action); });
    return refusal;
  }

  Object box_ = aBox();
};

constexpr char kBusy[] = "Vormel:Busy";

// ---- One at a time ----

TEST_F(Threads, call_while_another_thread_is_inside_is_refused_and_runs_no_body) {
  Object other = aBox();
  other.call("setNumber", {1});
  EXPECT_EQ(refusalElsewhere([&] { other.call("setNumber", {2}); }), kBusy);
  EXPECT_EQ(other.call("getNumber").toInt32(), 1);
}

TEST_F(Threads, everything_else_that_enters_is_refused) {
  const vormel::Method method = host().method(sample::kBox, "getNumber");
  const std::vector<std::function<void()>> entries = {
      [&] { method(box_); },
      [&] { method.invoke(box_, 1); },
      [&] { box_.invoke("getNumber", 1); },
      [&] { host().construct(sample::kBox, {0}); },
      [&] { host().findClass(sample::kBox); },
      [&] { host().method(sample::kBox, "keep"); },
      [&] { host().packageNames(); },
      [&] { host().classNames(); },
      [&] { host().loadModule("nowhere.so"); },
      [&] { host().end(box_); },
      [&] { const Object copy(box_); },
      [&] { host().functions().call("version"); },
      [&] { host().functions().callBuiltIn("version"); },
  };
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(refusalElsewhere(entries[i]), kBusy) << i;
  }
  EXPECT_FALSE(box_.isEnded());
}

TEST_F(Threads, calls_nest_on_one_thread) {
  const ReplacedFunction now("now", [&] {
    box_.call("setNumber", {5});
    return aNumber(1);
  });
  box_.call("callFunction", {"now"});
  EXPECT_EQ(box_.call("getNumber").toInt32(), 5);
}

TEST_F(Threads, thread_that_was_refused_is_served_later) {
  EXPECT_EQ(refusalElsewhere([&] { box_.call("getNumber"); }), kBusy);
  std::thread([&] { box_.call("setNumber", {9}); }).join();
  EXPECT_EQ(box_.call("getNumber").toInt32(), 9);
}

TEST_F(Threads, functions_are_replaced_and_put_back_meanwhile) {
  elsewhere([&] {
    host().functions().set("version", [] { return aText("elsewhere"); });
    EXPECT_TRUE(host().functions().isReplaced("version"));
    host().functions().reset("version");
  });
  EXPECT_FALSE(host().functions().isReplaced("version"));
}

TEST_F(Threads, object_dropped_meanwhile_ends_when_the_call_has_left) {
  auto dropped = std::make_unique<Object>(aBox());
  const int before = sample::log().destroyed;
  elsewhere([&] {
    dropped.reset();
    EXPECT_EQ(sample::log().destroyed, before);
  });
  EXPECT_EQ(sample::log().destroyed, before + 1);
}

TEST_F(Threads, arrays_made_meanwhile_are_on_no_list_of_the_call) {
  OwnedArray made;
  elsewhere([&] {
    EXPECT_EQ(vormel::CallScope::current(), nullptr);
    made = OwnedArray(vrCreateDoubleScalar(2.5));
  });
  EXPECT_EQ(vrGetScalar(made.get()), 2.5);
}

TEST_F(Threads, calls_from_all_sides_are_served_or_refused) {
  constexpr int kThreads = 4;
  constexpr int kCalls = 400;
  std::atomic<int> served = 0;
  std::atomic<int> others = 0;
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int call = 0; call < kCalls; ++call) {
        const std::string refusal = refusalOf([&] {
          box_.call("leaveArrays");
          const Object another = host().construct(sample::kBox, {call});
          another.call("keep", {call});
          ++served;
        });
        if (!refusal.empty() && refusal != kBusy) ++others;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(others, 0);
  EXPECT_GT(served, 0);
}

TEST_F(Threads, first_failure_on_each_fresh_thread_arrives) {
  for (int i = 0; i < 20; ++i) {
    std::string identifier;
    std::thread([&] {
      try {
        box_.call("fail");
      } catch (const vormel::HostException& failure) {
        identifier = failure.identifier();
      }
    }).join();
    EXPECT_EQ(identifier, "KVR:kvr:NON_EXISTENT");
  }
}

// ---- The stack ----

#ifdef __SANITIZE_THREAD__  // keeps some hundred KiB of its own on each stack
constexpr std::size_t kSmallestStack = std::size_t{4} << 20;
#else
constexpr std::size_t kSmallestStack = std::size_t{256} << 10;
#endif

// Runs an action on a thread with a stack of that size.
void withStack(std::size_t size, const std::function<void()>& action) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
  pthread_t thread;
  const auto run = [](void* given) -> void* {
    (*static_cast<const std::function<void()>*>(given))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run,
                           const_cast<void*>(static_cast<const void*>(&action))),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST_F(Threads, calls_nested_too_deep_for_the_stack_are_refused) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer's own record of calls ends before the stack does";
#endif
  for (const std::size_t size : {kSmallestStack, 4 * kSmallestStack, 8 * kSmallestStack}) {
    int depth = 0;
    const ReplacedFunction now("now", [&] {
      ++depth;
      return OwnedArray(vormel::detachedCopy(box_.call("callFunction", {"now"}).array()));
    });
    std::string refusal;
    withStack(size, [&] { refusal = refusalOf([&] { box_.call("callFunction", {"now"}); }); });
    EXPECT_EQ(refusal, "with a function") << "of the innermost call but one";
    EXPECT_GT(depth, 3) << size << " bytes";
  }
}

// ---- Threads that are ended ----

// What pthread_exit unwinds is no failure: it passes every frame on its way.
TEST_F(Threads, thread_that_ends_inside_a_call_leaves_the_host) {
  for (const char* method : {"callFunction", "callTrapped"}) {
    const ReplacedFunction now("now", []() -> OwnedArray { pthread_exit(nullptr); });
    bool isThrough = false;
    withStack(4 * kSmallestStack, [&] {
      box_.call(method, {"now"});
      isThrough = true;
    });
    EXPECT_FALSE(isThrough);
    EXPECT_EQ(refusalOf([&] { box_.call("getNumber"); }), "");
  }
}

}  // namespace
