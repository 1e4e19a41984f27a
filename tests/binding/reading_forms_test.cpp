// Methods that take a signal id, or a run id and an index, all of them typed.
#include "tests/binding/repository_test.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

constexpr const char* kReaders[] = {"getRootDataSource",      "getTolerance",
                                    "isToleranceInherited",   "getSyncOptions",
                                    "isSyncOptionsInherited", "getVisibility"};
constexpr const char* kResets[] = {"remove", "resetTolerance", "resetSyncOptions"};

// All of the form. getInstanceID alone knows an answer for an unknown signal.
std::vector<std::string> allMethods() {
  std::vector<std::string> all(std::begin(kReaders), std::end(kReaders));
  all.insert(all.end(), std::begin(kResets), std::end(kResets));
  all.emplace_back("getInstanceID");
  return all;
}

// Two runs of two signals each; the last signal differs from the others in all that can be read.
class ReadingForms : public RepositoryTest {
 protected:
  ReadingForms() {
    addSignals(plainRun, 2);
    addTo(run);
    special = add(aSignal().inRun(run).withRootDataSource("special root"));
    call("setAbsoluteTolerance", {special, 0.5});
    call("setSyncMethod", {special, "uniform"});
    call("setVisibility", {special, true});
  }

  const int32 plainRun = addRun("plain", 7);
  const int32 run = addRun("special", 8);
  int32 special = 0;
};

TEST_F(ReadingForms, id_and_run_with_index_read_the_same_signal) {
  for (const char* method : kReaders) {
    SCOPED_TRACE(method);
    const Value byID = call(method, {special});
    EXPECT_TRUE(vormel::equal(byID.array(), call(method, {run, 2}).array()));
    EXPECT_FALSE(vormel::equal(byID.array(), call(method, {run, 1}).array()));
  }
}

TEST_F(ReadingForms, instance_is_read_by_id_and_by_run_with_index) {
  EXPECT_EQ(call("getInstanceID", {special}).toInt32(), 8);
  EXPECT_EQ(call("getInstanceID", {run, 2}).toInt32(), 8);
  EXPECT_EQ(call("getInstanceID", {plainRun, 2}).toInt32(), 7);
}

TEST_F(ReadingForms, resets_by_run_with_index_reach_that_signal) {
  call("resetTolerance", {run, 2});
  EXPECT_TRUE(store().isToleranceInherited(special));
  EXPECT_FALSE(store().isSyncOptionsInherited(special));
  call("resetSyncOptions", {run, 2});
  EXPECT_TRUE(store().isSyncOptionsInherited(special));
}

TEST_F(ReadingForms, remove_by_run_with_index_takes_that_signal) {
  call("remove", {run, 2});
  EXPECT_EQ(store().signalCount(), 3);
  EXPECT_FALSE(ifThere([&] { return store().recordPointerByID(special); }));
}

TEST_F(ReadingForms, other_counts_than_two_or_three_report_invalid_signature) {
  const UnchangedStore unchanged;
  const Cells inputs{handle(), cellOf(run), cellOf(1), cellOf(1), cellOf(1), cellOf(1)};
  for (const std::string& method : allMethods()) {
    SCOPED_TRACE(method);
    for (const std::size_t count : {1, 4, 5, 6})
      expectFailure("INVALID_SIGNATURE", [&] { executeByHand(method, inputs, count); });
  }
}

TEST_F(ReadingForms, four_inputs_through_the_host_report_invalid_signature) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    expectFailure("INVALID_SIGNATURE", [&] { call(method, {run, 1, 1}); });
}

TEST_F(ReadingForms, handle_alone_is_refused_by_the_host) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    expectHostError("NotEnoughInputs", [&] { call(method); });
}

TEST_F(ReadingForms, unknown_signal_reports_id) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods()) {
    if (method == "getInstanceID") continue;
    for (const int32 unknown : {0, -1, special + 1, INT32_MAX, INT32_MIN})
      expectFailure("NON_EXISTENT", "ID", [&] { call(method, {unknown}); });
  }
}

TEST_F(ReadingForms, instance_of_an_unknown_signal_is_minus_one) {
  for (const int32 unknown : {0, -1, special + 1})
    EXPECT_EQ(call("getInstanceID", {unknown}).toInt32(), -1);
}

TEST_F(ReadingForms, unknown_run_reports_run_id) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    expectFailure("NON_EXISTENT", "Run ID", [&] { call(method, {run + 1, 1}); });
}

TEST_F(ReadingForms, run_that_never_held_a_signal_reports_run_id) {
  const int32 empty = addRun("empty");
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    expectFailure("NON_EXISTENT", "Run ID", [&] { call(method, {empty, 1}); });
}

TEST_F(ReadingForms, index_outside_the_run_reports_index) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    for (const int32 index : {0, -1, 3, INT32_MAX, INT32_MIN})
      expectFailure("NON_EXISTENT", "Index", [&] { call(method, {run, index}); });
}

TEST_F(ReadingForms, fractional_index_is_refused_by_the_host) {
  const UnchangedStore unchanged;
  for (const std::string& method : allMethods())
    expectHostError("InvalidInput", [&] { call(method, {run, 1.5}); });
}

TEST_F(ReadingForms, output_count_is_left_alone) {
  for (const char* method : kReaders)
    for (const int count : {0, 1, 3})
      EXPECT_EQ(invoke(method, count, {special}).count, count) << method;
  for (const int count : {0, 1, 3})
    EXPECT_EQ(invoke("getInstanceID", count, {special}).count, count);
}

TEST_F(ReadingForms, outputs_asked_for_none_times_are_written_all_the_same) {
  for (const char* method : kReaders)
    EXPECT_FALSE(invoke(method, 0, {special}).cells.at(0).isNothing()) << method;
  EXPECT_EQ(invoke("getInstanceID", 0, {special}).cells.at(0).toInt32(), 8);
}

}  // namespace
}  // namespace kvr::test
