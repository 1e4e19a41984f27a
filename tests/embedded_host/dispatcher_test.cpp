// Which host function is running.
#include "embedded_host/messages/dispatcher.h"

#include <gtest/gtest.h>

#include <string>

namespace kvr::test {
namespace {

using vormel::functionHandle;
using vormel::RunningFunction;

std::string runningName() {
  const Vfh_Vormel_fn* scope = Vdispatcher::pDMain->GetCurrentlyExecutingFunctionScope();
  return scope == nullptr ? "(none)" : scope->dispatcher().get_hfuncname(scope->handle());
}

TEST(Dispatcher, outside_any_function_none_is_running) { EXPECT_EQ(runningName(), "(none)"); }

TEST(Dispatcher, innermost_function_is_the_running_one_until_it_ends) {
  const RunningFunction outer(functionHandle("first"));
  EXPECT_EQ(runningName(), "first");
  {
    const RunningFunction inner(functionHandle("second"));
    EXPECT_EQ(runningName(), "second");
  }
  EXPECT_EQ(runningName(), "first");
}

TEST(Dispatcher, handle_of_a_name_is_always_the_same) {
  const int handle = functionHandle("getSignal");
  EXPECT_EQ(functionHandle("getSignal"), handle);
  EXPECT_NE(functionHandle("getSignalByRunIndex"), handle);
  EXPECT_STREQ(Vdispatcher::pDMain->get_hfuncname(handle), "getSignal");
}

TEST(Dispatcher, name_keeps_its_address_as_more_names_come) {
  const char* name = Vdispatcher::pDMain->get_hfuncname(functionHandle("kept"));
  for (int i = 0; i < 1000; ++i) functionHandle("name" + std::to_string(i));
  EXPECT_EQ(Vdispatcher::pDMain->get_hfuncname(functionHandle("kept")), name);
}

TEST(Dispatcher, handle_that_was_never_given_out_has_no_name) {
  EXPECT_EQ(Vdispatcher::pDMain->get_hfuncname(-1), nullptr);
  EXPECT_EQ(Vdispatcher::pDMain->get_hfuncname(1 << 30), nullptr);
}

}  // namespace
}  // namespace kvr::test
