#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "embedded_host/messages/host_exception.h"
#include "kvrntob/host/v_dispatcher.h"
#include "kvrntob/host/v_interpreter.h"
#include "tests/embedded_host/sample_fixture.h"

namespace {

namespace fs = std::filesystem;
using kvr::test::aNumber;
using kvr::test::expectHostError;
using kvr::test::LiveArraysTest;
using kvr::test::owned;
using ::testing::ElementsAre;
using vormel::HostFunctions;
using vormel::OwnedArray;

class Functions : public LiveArraysTest {
 protected:
  static HostFunctions& functions() { return HostFunctions::instance(); }
  static std::string textOf(const OwnedArray& array) { return vrArrayToStdString(array.get()); }

  // As a module calls it.
  static int call(const char* name, vrArray** result, int trap) {
    return ipCallFcnWithTrap(1, result, 0, nullptr, name, trap);
  }
};

TEST_F(Functions, host_has_four_of_its_own) {
  EXPECT_THAT(functions().names(), ElementsAre("now", "tempdir", "timeseries", "version"));
  EXPECT_FALSE(functions().isReplaced("now"));
}

TEST_F(Functions, version_is_that_of_the_project) {
  EXPECT_EQ(textOf(functions().call("version")), "Vormel 1.0.0");
}

TEST_F(Functions, now_is_days_since_year_zero) {
  using std::chrono::system_clock;
  const OwnedArray now = functions().call("now");
  const std::time_t seconds = system_clock::to_time_t(system_clock::now());
  // 719528 days lie between the beginnings of the years 0 and 1970.
  EXPECT_NEAR(vrGetScalar(now.get()), 719528 + static_cast<double>(seconds) / 86400, 1e-3);
  EXPECT_EQ(vrGetClassID(now.get()), vrDOUBLE_CLASS);
}

TEST_F(Functions, timeseries_is_a_new_object_of_empty_data_and_time_alone) {
  const OwnedArray series = functions().call("timeseries");
  EXPECT_EQ(vormel::className(series.get()), "timeseries");
  EXPECT_TRUE(vrIsScalar(series.get()));
  EXPECT_THAT(vormel::fieldNames(series.get()), ElementsAre("Data", "Time"));
  for (const char* name : {"Time", "Data"}) {
    EXPECT_TRUE(vrIsEmpty(vrGetField_730(series.get(), 0, name))) << name;
  }
}

TEST_F(Functions, tempdir_is_private_and_ends_in_a_separator) {
  const std::string path = textOf(functions().call("tempdir"));
  EXPECT_EQ(path.back(), '/');
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
  EXPECT_EQ(textOf(functions().call("tempdir")), path);
}

TEST_F(Functions, replaced_function_is_called_until_it_is_reset) {
  functions().set("version", [] { return kvr::test::aText("another"); });
  EXPECT_TRUE(functions().isReplaced("version"));
  EXPECT_EQ(textOf(functions().call("version")), "another");
  functions().reset("version");
  EXPECT_EQ(textOf(functions().call("version")), "Vormel 1.0.0");
}

TEST_F(Functions, added_function_is_gone_after_reset) {
  functions().set("mine", [] { return aNumber(1); });
  EXPECT_TRUE(functions().contains("mine"));
  functions().reset("mine");
  expectHostError("NoSuchFunction", [] { functions().call("mine"); });
}

TEST_F(Functions, unknown_and_empty_functions_are_refused) {
  expectHostError("NoSuchFunction", [] { functions().reset("none"); });
  expectHostError("InvalidFunction", [] { functions().set("none", nullptr); });
  EXPECT_FALSE(functions().contains("none"));
}

TEST_F(Functions, function_without_a_result_is_a_failure) {
  functions().set("empty", [] { return OwnedArray(); });
  expectHostError("NoResult", [] { functions().call("empty"); });
  functions().reset("empty");
}

TEST_F(Functions, function_is_the_running_one_and_leaves_no_arrays) {
  std::string running;
  functions().set("mine", [&] {
    const Vfh_Vormel_fn* scope = Vdispatcher::pDMain->GetCurrentlyExecutingFunctionScope();
    running = scope->dispatcher().get_hfuncname(scope->handle());
    vrCreateString("left behind");
    return OwnedArray(vrCreateDoubleScalar(5));
  });
  EXPECT_EQ(vrGetScalar(functions().call("mine").get()), 5);
  EXPECT_EQ(running, "mine");
  functions().reset("mine");
}

TEST_F(Functions, function_may_reset_itself_while_it_runs) {
  functions().set("mine", [] {
    functions().reset("mine");
    return aNumber(1);
  });
  EXPECT_TRUE(functions().call("mine"));
  EXPECT_FALSE(functions().contains("mine"));
}

TEST_F(Functions, module_call_gives_a_new_array) {
  vrArray* result = nullptr;
  EXPECT_EQ(call("version", &result, 1), 0);
  EXPECT_EQ(textOf(owned(result)), "Vormel 1.0.0");
}

TEST_F(Functions, module_call_without_trap_lets_the_failure_pass) {
  functions().set("mine", []() -> OwnedArray { throw std::runtime_error("mine"); });
  vrArray* result = nullptr;
  EXPECT_THROW(call("mine", &result, 0), std::runtime_error);
  EXPECT_EQ(result, nullptr);
  functions().reset("mine");
}

TEST_F(Functions, module_call_with_trap_holds_the_failure_back) {
  functions().set("mine", []() -> OwnedArray { throw std::runtime_error("mine"); });
  vrArray* result = aNumber(1).get();
  EXPECT_NE(call("mine", &result, 1), 0);
  EXPECT_EQ(result, nullptr);
  EXPECT_THROW(vormel::rethrowTrappedFailure(), std::runtime_error);
  functions().reset("mine");
}

TEST_F(Functions, next_module_call_forgets_the_held_failure) {
  vrArray* result = nullptr;
  EXPECT_NE(call("none", &result, 1), 0);
  EXPECT_EQ(call("version", &result, 1), 0);
  owned(result);
  EXPECT_NO_THROW(vormel::rethrowTrappedFailure());
}

TEST_F(Functions, module_call_with_wrong_counts_fails) {
  vrArray* results[2] = {};
  vrArray* input = nullptr;
  expectHostError("TooManyInputs", [&] { ipCallFcnWithTrap(1, results, 1, &input, "now", 0); });
  expectHostError("InvalidOutputCount",
                  [&] { ipCallFcnWithTrap(2, results, 0, nullptr, "now", 0); });
  expectHostError("NoSuchFunction", [&] { ipCallFcnWithTrap(1, results, 0, nullptr, nullptr, 0); });
  EXPECT_EQ(ipCallFcnWithTrap(0, nullptr, 0, nullptr, "now", 0), 0);
}

class FunctionsInCalls : public kvr::test::SampleTest {};

TEST_F(FunctionsInCalls, held_failure_ends_with_the_call) {
  EXPECT_NE(aBox().call("callTrapped", {"none"}).toInt32(), 0);
  EXPECT_NO_THROW(vormel::rethrowTrappedFailure());
}

}  // namespace
