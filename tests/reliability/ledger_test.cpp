// The ledger: all that may stay behind when those who asked for it have let go of everything, and
// the whole of it. Each row does something, undoes it as far as it can be undone, and tells what is
// left: more is a leak, less is a leftover that is required and has gone. What no row tells is left
// nowhere: every fixture of the tests checks that.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include "embedded_host/arrays/call_scope.h"
#include "embedded_host/objects/object_record.h"
#include "kvrntob/store/data.h"
#include "tests/reliability/leftovers.h"
#include "tests/reliability/map_calls.h"
#include "tests/reliability/sample_store.h"
#include "tests/support/left_behind.h"
#include "tests/support/live_arrays.h"
#include "tests/support/replaced_function.h"

namespace kvr::test {
namespace {

struct Row {
  const char* name;  // of the test
  void (*action)(SignalRepository& store);
  Account left;
  int lostForGood = 0;  // arrays that not even the end of the store releases
};

std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.name; }

SignalBuilder signalOfRun(int32 run) {
  return aSignal().inRun(run).withSource("ledger").inBlock("ledger").withLabel("ledger").inModel(
      "ledger");
}

// Whatever the failure is: rows tell what is left, other tests what was raised.
template <class Action>
void failing(const Action& action) {
  EXPECT_ANY_THROW(action());
}

Arrays rowsOf(const std::vector<double>& numbers) {
  Arrays arrays;
  for (const double number : numbers) arrays.push_back(aNumber(number));
  return arrays;
}

void insertInto(const OwnedArray& map, const OwnedArray& key, const OwnedArray& value) {
  vormel::CallFrame frame(mapMethod("insert"), 3, 0);
  frame.setInput(0, map.get());
  frame.setInput(1, key.get());
  frame.setInput(2, value.get());
  frame.run();
}

const std::vector<Row>& ledger() {
  // The tables of the sample store, which are out of sight.
  static const Account cleaned{{"runs", -3},
                               {"run ids given out", -3},
                               {"signals", -5},
                               {"signal ids given out", -5},
                               {"tolerances of runs", -2},
                               {"sync options of runs", -2}};
  static const std::vector<Row> rows{
      // ---- What fails has used up numbers ----
      {"run_whose_host_functions_fail_loses_its_number",
       [](SignalRepository& store) {
         const FaultPlan plan(FaultSite::HostFunction, 1);
         failing([&] { store.createEmptyRun("run", 1); });
       },
       {{"run ids given out", 1}}},
      {"signal_with_unknown_parent_loses_its_number",
       [](SignalRepository& store) { failing([&] { signalOfRun(1).under(39).addTo(store); }); },
       {{"signal ids given out", 1}, {"palette steps taken", 1}}},
      {"signal_with_unknown_parent_leaves_its_scratch_variable",
       [](SignalRepository& store) {
         store.writeToFile();
         failing([&] { signalOfRun(1).under(39).addTo(store); });
       },
       {{"signal ids given out", 1},
        {"palette steps taken", 1},
        {"scratch files", 1},
        {"scratch variables of no signal", 1}}},
      {"signal_that_cannot_be_written_loses_its_number",
       [](SignalRepository& store) {
         store.writeToFile();
         const vormel::CallScope hostCall;
         failing([&] { signalOfRun(1).withValues(kept(aNumber(1))).addTo(store); });
       },
       {{"signal ids given out", 1}, {"palette steps taken", 1}, {"scratch files", 1}}},
      {"copy_that_stops_leaves_its_run_and_the_signals_so_far",
       [](SignalRepository& store) {
         store.writeToFile();
         const vormel::CallScope hostCall;
         const FaultPlan plan(FaultSite::FileOperation, 4);  // the second signal's
         failing([&] { store.copyRun(2, 1); });
       },
       {{"runs", 1},
        {"run ids given out", 1},
        {"signals", 1},
        {"signal ids given out", 2},
        {"palette steps taken", 2},
        {"tolerances of runs", 1},
        {"sync options of runs", 1},
        {"live arrays", 1},
        {"scratch files", 1}}},
      // ---- What asks makes entries ----
      {"count_of_a_run_without_signals_leaves_an_empty_list",
       [](SignalRepository& store) { store.signalCount(3); },
       {{"empty lists of signals", 1}}},
      {"date_of_an_unknown_run_makes_a_run",
       [](SignalRepository& store) { store.setDateCreated(20, 1); },
       {{"runs", 1}}},
      // ---- What is removed ----
      {"removed_signal_leaves_group_names_settings_and_an_empty_list",
       [](SignalRepository& store) { store.removeSignal(signalOfRun(3).addTo(store)); },
       {{"names of empty groups", 4},
        {"tolerances of runs", 1},
        {"sync options of runs", 1},
        {"empty lists of signals", 1},
        {"signal ids given out", 1},
        {"palette steps taken", 1}}},
      {"removed_signal_with_another_root_stays_in_its_data_source",
       [](SignalRepository& store) {
         store.removeSignal(
             signalOfRun(3).withRootDataSource("a group without a name").addTo(store));
       },
       {{"names of empty groups", 3},
        {"ids in groups that are no signal", 1},
        {"groups without a name", 1},
        {"tolerances of runs", 1},
        {"sync options of runs", 1},
        {"empty lists of signals", 1},
        {"signal ids given out", 1},
        {"palette steps taken", 1}}},
      {"removed_signal_leaves_its_scratch_variable",
       [](SignalRepository& store) {
         store.writeToFile();
         store.removeSignal(
             aSignal().inRun(1).withSource("ledger").inBlock(SampleStore::kBlock).addTo(store));
       },
       {{"names of empty groups", 3},
        {"signal ids given out", 1},
        {"palette steps taken", 1},
        {"scratch files", 1},
        {"scratch variables of no signal", 1}}},
      {"removed_signal_in_the_middle_leaves_its_children",
       [](SignalRepository& store) {
         const int32 top = signalOfRun(3).addTo(store);
         const int32 middle = signalOfRun(3).under(top).addTo(store);
         signalOfRun(3).under(middle).addTo(store);
         store.removeSignal(middle);
       },
       {{"parents that are no signal", 1},
        {"signals", 2},
        {"live arrays", 8},
        {"tolerances of runs", 1},
        {"sync options of runs", 1},
        {"signal ids given out", 3},
        {"palette steps taken", 3}}},
      {"removed_run_leaves_its_settings",
       [](SignalRepository& store) {
         const int32 run = store.createEmptyRun("run", 1);
         aSignal().inRun(run).addTo(store);
         store.removeRun(run);
       },
       {{"tolerances of no run", 1},
        {"sync options of no run", 1},
        {"names of empty groups", 4},
        {"run ids given out", 1},
        {"signal ids given out", 1},
        {"palette steps taken", 1}}},
      {"removed_run_leaves_links_to_its_signals",
       [](SignalRepository& store) {
         const int32 run = store.createEmptyRun("run", 1);
         aSignal().inRun(run).under(4).addTo(store);
         const int32 top = aSignal().inRun(run).addTo(store);
         signalOfRun(3).under(top).addTo(store);
         store.removeRun(run);
       },
       {{"children that are no signal", 1},
        {"parents that are no signal", 1},
        {"signals", 1},
        {"live arrays", 4},
        {"tolerances of runs", 1},
        {"sync options of runs", 1},
        {"tolerances of no run", 1},
        {"sync options of no run", 1},
        {"names of empty groups", 4},
        {"run ids given out", 1},
        {"signal ids given out", 3},
        {"palette steps taken", 3}}},
      {"removed_empty_run_gives_its_number_back",
       [](SignalRepository& store) { store.removeEmptyRun(store.createEmptyRun("run", 1)); },
       {}},
      // ---- What is dropped ----
      // No line tells of arrays or palette steps: all of them stay.
      {"clean_leaves_every_array_of_the_store",
       [](SignalRepository&) {
         const vormel::Object other = aRepository();
         other.call("clean");
       },
       cleaned},
      {"clean_leaves_no_scratch_file",
       [](SignalRepository& store) {
         store.writeToFile();
         aRepository().call("clean");
       },
       cleaned},
      // ---- What a failed switch to file mode leaves: the mode ----
      {"file_mode_without_a_directory_loses_the_numbers_of_later_signals",
       [](SignalRepository& store) {
         const ReplacedFunction tempdir("tempdir", [] { return aText(""); });
         failing([&] { store.writeToFile(); });
         const vormel::CallScope hostCall;
         failing([&] { signalOfRun(1).addTo(store); });
       },
       {{"signal ids given out", 1}, {"palette steps taken", 1}}},
      // ---- Maps ----
      {"cleared_map_of_any_values_leaves_them",
       [](SignalRepository&) {
         const OwnedArray map = aMapOf({kKeys[1], kValues[12]}, 0);
         const Arrays keys = rowsOf({1, 2, 3});
         {
           const LeftBehind values;
           for (const OwnedArray& key : keys) insertInto(map, key, aRow({1, 2, 3}));
         }
         EXPECT_EQ(attemptCall(mapMethod("Clear"), map.get(), Arrays()).failure, "");
       },
       {{"live arrays", 3}},
       3},
      {"cleared_map_of_numbers_leaves_nothing",
       [](SignalRepository&) {
         const OwnedArray map = aFilledMap({kKeys[1], kValues[2]});
         EXPECT_EQ(attemptCall(mapMethod("Clear"), map.get(), Arrays()).failure, "");
       },
       {}},
      // ---- What a host call holds to its end, and no longer ----
      {"failed_read_leaves_nothing_after_its_call",
       [](SignalRepository& store) {
         store.writeToFile();
         const Data record = aSignal().withValues(kept(aTimeseries({1}, {1}))).makeRecord(true);
         store.writeToFile();  // empties the file
         const vormel::CallScope hostCall;
         failing([&] { exportSignal(record); });
         EXPECT_EQ(takeAccount()["open files"], 1);
       },
       {{"scratch files", 1}, {"signal ids given out", 1}, {"palette steps taken", 1}}},
  };
  return rows;
}

// "removed run leaves its settings: sync options of no run 1, ..."
std::string textOf(const Row& row) {
  std::string text = row.name;
  std::replace(text.begin(), text.end(), '_', ' ');
  const char* separator = ": ";
  for (const auto& [kind, count] : row.left) {
    text += separator + kind + ' ' + std::to_string(count);
    separator = ", ";
  }
  return row.left.empty() ? text + ": nothing" : text;
}

class Ledger : public LiveArraysTest, public ::testing::WithParamInterface<Row> {};

TEST_P(Ledger, leaves_exactly_what_it_tells) {
  const SampleStore sample(Keeping::InMemory);
  const Account before = takeAccount();
  GetParam().action(sample.store());
  EXPECT_EQ(difference(before, takeAccount()), GetParam().left);
  liveArrays.allow(static_cast<std::size_t>(GetParam().lostForGood));
  std::printf("ledger: %s\n", textOf(GetParam()).c_str());
}

INSTANTIATE_TEST_SUITE_P(Rows, Ledger, ::testing::ValuesIn(ledger()),
                         [](const auto& info) { return std::string(info.param.name); });

// A map among its own values is held by itself, until somebody ends it.
TEST_F(LiveArraysTest, map_that_holds_its_own_handle_lives_until_it_is_ended) {
  OwnedArray map = aMapOf({kKeys[1], kValues[12]}, 0);
  insertInto(map, aNumber(1), map);
  vormel::ObjectRecord* object = vormel::ObjectRecord::behind(map.get());
  map.reset();
  EXPECT_EQ(liveArrays.made(), 1U);
  object->end();
  EXPECT_EQ(liveArrays.made(), 0U);
}

}  // namespace
}  // namespace kvr::test
