// Faults on purpose: which operation fails, how, and what is counted.
#include "tests/support/faults.h"

#include "embedded_host/files/file_status.h"
#include "embedded_host/functions/host_functions.h"
#include "kvrntob/host/libhu.h"
#include "kvrntob/host/ntob.h"
#include "kvrntob/host/v_interpreter.h"
#include "tests/reliability/heap_faults.h"
#include "tests/support/array_builders.h"
#include "tests/support/failure_matchers.h"
#include "tests/support/variable_files.h"

namespace kvr::test {
namespace {

class FaultsTest : public VariableFileTest {};

bool memoryIsThere() {
  void* block = huMalloc(8);
  huFree(block);
  return block != nullptr;
}

TEST_F(FaultsTest, once_fails_the_nth_operation_alone) {
  const FaultPlan plan(FaultSite::Memory, 2);
  EXPECT_TRUE(memoryIsThere());
  EXPECT_FALSE(memoryIsThere());
  EXPECT_TRUE(memoryIsThere());
  EXPECT_EQ(plan.seen(), 3U);
  EXPECT_EQ(plan.injected(), 1U);
}

TEST_F(FaultsTest, always_fails_the_nth_operation_and_those_after_it) {
  const FaultPlan plan(FaultSite::Memory, 2, FaultRepeat::Always);
  EXPECT_TRUE(memoryIsThere());
  EXPECT_FALSE(memoryIsThere());
  EXPECT_FALSE(memoryIsThere());
  EXPECT_EQ(plan.injected(), 2U);
}

TEST_F(FaultsTest, number_zero_counts_and_fails_nothing) {
  const FaultPlan plan(FaultSite::Memory, 0, FaultRepeat::Always);
  EXPECT_TRUE(memoryIsThere());
  EXPECT_EQ(plan.seen(), 1U);
  EXPECT_EQ(plan.injected(), 0U);
  EXPECT_STREQ(plan.lastFault(), "");
}

TEST_F(FaultsTest, nothing_fails_after_the_plan) {
  { const FaultPlan plan(FaultSite::Memory, 1, FaultRepeat::Always); }
  EXPECT_TRUE(memoryIsThere());
}

TEST_F(FaultsTest, plans_for_two_sites_hold_at_one_time) {
  const FaultPlan memory(FaultSite::Memory, 1);
  const FaultPlan files(FaultSite::FileOperation, 1);
  EXPECT_FALSE(memoryIsThere());
  EXPECT_EQ(vfOpen(path.c_str(), "r"), nullptr);
  EXPECT_STREQ(memory.lastFault(), "huMalloc");
  EXPECT_STREQ(files.lastFault(), "vfOpen");
}

TEST_F(FaultsTest, an_array_without_memory_is_an_exhausted_memory_exception) {
  const FaultPlan plan(FaultSite::Memory, 1);
  EXPECT_THROW(vrCreateDoubleScalar(1), ntob::TOBOutOfMemoryException);
}

TEST_F(FaultsTest, zeroed_memory_fails_too) {
  const FaultPlan plan(FaultSite::Memory, 1);
  EXPECT_EQ(huCalloc(8, 1), nullptr);
  EXPECT_STREQ(plan.lastFault(), "huCalloc");
}

TEST_F(FaultsTest, a_file_that_is_not_to_be_opened_is_null) {
  const FaultPlan plan(FaultSite::FileOperation, 1);
  EXPECT_EQ(vfOpen(path.c_str(), "u"), nullptr);
  EXPECT_STREQ(plan.lastFault(), "vfOpen");
}

TEST_F(FaultsTest, a_variable_that_is_not_to_be_written_is_absent) {
  const OwnedArray number = aNumber(1);
  {
    const FaultPlan plan(FaultSite::FileOperation, 2);
    EXPECT_FALSE(put(path, "x", number));
  }
  EXPECT_FALSE(get(path, "x"));
}

TEST_F(FaultsTest, a_variable_that_is_not_to_be_read_is_null) {
  ASSERT_TRUE(put(path, "x", aNumber(1)));
  const FaultPlan plan(FaultSite::FileOperation, 2);
  EXPECT_FALSE(get(path, "x"));
  EXPECT_STREQ(plan.lastFault(), "vfGetVariable");
}

TEST_F(FaultsTest, a_file_whose_close_fails_is_closed) {
  vfFile* file = vfOpen(path.c_str(), "r");
  EXPECT_EQ(vormel::openFileCount(), 1U);
  const FaultPlan plan(FaultSite::FileOperation, 1);
  EXPECT_NE(vfClose(file), 0);
  EXPECT_EQ(vormel::openFileCount(), 0U);
}

TEST_F(FaultsTest, a_host_function_throws_under_its_name) {
  const FaultPlan plan(FaultSite::HostFunction, 1);
  vrArray* result = nullptr;
  try {
    ipCallFcnWithTrap(1, &result, 0, nullptr, "now", 0);
    ADD_FAILURE() << "came through";
  } catch (const vormel::HostError& failure) {
    EXPECT_EQ(failure.identifier(), "Vormel:InjectedFault");
    EXPECT_EQ(failure.functionName(), "now");
  }
  EXPECT_STREQ(plan.lastFault(), "now");
}

TEST_F(FaultsTest, a_trapped_host_function_gives_null_and_keeps_its_failure) {
  const FaultPlan plan(FaultSite::HostFunction, 1);
  vrArray* result = nullptr;
  EXPECT_EQ(ipCallFcnWithTrap(1, &result, 0, nullptr, "timeseries", 1), 1);
  EXPECT_EQ(result, nullptr);
  const OwnedArray value = aNumber(1);
  expectHostError("InjectedFault", [&] { vrSetProperty_730(result, 0, "Data", value.get()); });
}

// ---- Failures for whose text there is no heap ----

// The text of the failure was once made outside of all care, and its bad_alloc got out.
TEST_F(FaultsTest, a_file_that_cannot_be_opened_for_want_of_heap_is_null_all_the_same) {
  const std::string missing = directory.file("a name that is too long to lie in a string itself");
  for (std::uint64_t number = 1, injected = 1; injected > 0; ++number) {
    HeapPlan plan(number, FaultRepeat::Always);
    EXPECT_NO_THROW(EXPECT_EQ(vfOpen(missing.c_str(), "r"), nullptr)) << number;
    injected = plan.injected();
  }
}

TEST_F(FaultsTest, a_variable_that_cannot_be_put_for_want_of_heap_is_absent_all_the_same) {
  const OwnedArray number = aNumber(1);
  const std::string name(100'000, 'x');  // refused by itself
  for (std::uint64_t fault = 1, injected = 1; injected > 0; ++fault) {
    const OpenFile file = openFile(path, "u");
    HeapPlan plan(fault, FaultRepeat::Always);
    EXPECT_NO_THROW(EXPECT_NE(vfPutVariable(file.get(), name.c_str(), number.get()), 0)) << fault;
    injected = plan.injected();
  }
}

// Its empty arrays once were null then, and read.
TEST_F(FaultsTest, a_timeseries_without_memory_is_an_exhausted_memory_exception) {
  for (std::uint64_t number = 1;; ++number) {
    const FaultPlan plan(FaultSite::Memory, number);
    try {
      vormel::HostFunctions::instance().call("timeseries");
      EXPECT_EQ(plan.injected(), 0U);
      return;
    } catch (const ntob::TOBOutOfMemoryException&) {
      EXPECT_EQ(plan.injected(), 1U);
    }
  }
}

}  // namespace
}  // namespace kvr::test
