// Signals whose values are kept in the scratch file.
#include "kvrntob/store/scratch_file.h"
#include "kvrntob/columns/columns.h"
#include "tests/support/faults.h"

#include <pthread.h>

#include <functional>
#include <stdexcept>

#include "kvrntob/store/data.h"
#include "tests/exchange/scratch_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;
using Numbers = std::vector<double>;

using ScratchFileTest = ScratchTest;

// ---- Making the file ----

TEST_F(ScratchFileTest, write_to_file_makes_the_file_at_once) {
  writeToFile();
  EXPECT_EQ(scratchFileName, path);
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(ScratchFileTest, write_to_file_leaves_nothing_to_the_end_of_the_call) {
  const std::size_t before = vormel::liveArrayCount();
  call([&] {
    store().writeToFile();
    EXPECT_EQ(openDescriptors(), 0);
    EXPECT_EQ(vormel::liveArrayCount(), before);
  });
}

TEST_F(ScratchFileTest, write_to_file_puts_no_separator_after_the_directory) {
  answer = directory + "prefix";
  writeToFile();
  EXPECT_TRUE(std::filesystem::exists(directory + "prefixKVR.vdf"));
}

TEST_F(ScratchFileTest, write_to_file_without_a_directory_reports_timeseries_and_keeps_the_name) {
  const std::string before = scratchFileName;
  answer.clear();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { writeToFile(); });
  EXPECT_EQ(scratchFileName, before);
}

TEST_F(ScratchFileTest, write_to_file_takes_a_failing_host_function_for_no_directory) {
  const ReplacedFunction failing(
      "tempdir", []() -> vormel::OwnedArray { throw std::runtime_error("tempdir"); });
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { writeToFile(); });
}

TEST_F(ScratchFileTest, write_to_file_without_a_directory_turns_file_mode_on_all_the_same) {
  answer.clear();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { writeToFile(); });
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
}

TEST_F(ScratchFileTest, write_to_file_in_a_directory_that_is_not_there_fails_at_the_first_signal) {
  answer = directory + "gone/";
  writeToFile();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
  EXPECT_EQ(store().signalCount(), 0);
}

// ---- Writing ----

TEST_F(ScratchFileTest, signal_in_the_file_holds_no_values) {
  writeToFile();
  const Data record = store().copyRecordByID(addSeries({1, 2}));
  EXPECT_TRUE(record.isStoredInFile());
  EXPECT_EQ(record.getDataValues(), nullptr);
}

TEST_F(ScratchFileTest, signal_in_the_file_releases_the_values_it_was_given) {
  writeToFile();
  const SharedArray metaData = kept(aNumber(1));
  const std::size_t before = vormel::liveArrayCount();
  addInCall(aSignal().inRun(run).withMetaData(metaData));
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

TEST_F(ScratchFileTest, write_leaves_nothing_to_the_end_of_the_call) {
  writeToFile();
  const OwnedArray series = aTimeseries({1}, {0});
  const std::size_t before = vormel::liveArrayCount();
  call([&] {
    writeScratchVariable(series.get(), 1);
    EXPECT_EQ(openDescriptors(), 0);
    EXPECT_EQ(vormel::liveArrayCount(), before);
  });
}

TEST_F(ScratchFileTest, variable_is_a_structure_of_time_and_data_named_by_the_id) {
  writeToFile();
  addSeries({3, 4});
  vfFile* file = vfOpen(path.c_str(), "r");
  const OwnedArray variable = owned(vfGetVariable(file, "id1"));
  vfClose(file);
  EXPECT_TRUE(vrIsScalar(variable.get()));
  EXPECT_EQ(vormel::fieldNames(variable.get()), (std::vector<std::string>{"Time", "Data"}));
  EXPECT_EQ(numbersOf(vrGetField_730(variable.get(), 0, "Time")), (Numbers{0, 0.5}));
  EXPECT_EQ(numbersOf(vrGetField_730(variable.get(), 0, "Data")), (Numbers{3, 4}));
}

TEST_F(ScratchFileTest, value_that_is_no_timeseries_is_refused_and_uses_up_an_id) {
  writeToFile();
  const int32 last = addSeries({1});
  const int32 palette = paletteCounter;
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addNoSeries(); });
  EXPECT_EQ(paletteCounter, palette + 1);
  EXPECT_EQ(addSeries({1}), last + 2);
}

TEST_F(ScratchFileTest, value_that_is_no_timeseries_enters_no_table) {
  writeToFile();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addNoSeries(); });
  EXPECT_EQ(store().signalCount(), 0);
  EXPECT_EQ(store().groupCount(Column::BlockPath), 0);
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().toleranceByRun(run); });
}

TEST_F(ScratchFileTest, object_without_one_of_the_two_properties_is_refused) {
  writeToFile();
  for (const char* name : {"Time", "Data"}) {
    OwnedArray object = anObject("timeseries");
    vrSetProperty_730(object.get(), 0, name, aNumber(1).get());
    const SignalBuilder signal = aSignal().inRun(run).withValues(kept(std::move(object)));
    expectFailure("INPUT_MISMATCH", "timeseries", [&] { addInCall(signal); });
  }
}

TEST_F(ScratchFileTest, object_of_any_class_with_the_two_properties_is_taken) {
  writeToFile();
  OwnedArray object = anObject("another");
  vrSetProperty_730(object.get(), 0, "Time", aText("t").get());
  vrSetProperty_730(object.get(), 0, "Data", aNumber(5).get());
  EXPECT_EQ(readData(addInCall(aSignal().inRun(run).withValues(kept(std::move(object))))),
            Numbers{5});
}

TEST_F(ScratchFileTest, unknown_parent_leaves_the_variable_in_the_file) {
  writeToFile();
  expectFailure("NON_EXISTENT", "ID", [&] { addInCall(aSignal().inRun(run).under(99)); });
  EXPECT_EQ(readData(1), (Numbers{1, 2, 3}));
}

TEST_F(ScratchFileTest, unknown_run_writes_nothing) {
  writeToFile();
  expectFailure("NON_EXISTENT", "Run ID", [&] { addInCall(aSignal().inRun(run + 1)); });
  expectFailure("NON_EXISTENT", "ID", [&] { read(1); });
}

// ---- Reading ----

TEST_F(ScratchFileTest, signal_reads_back_as_a_timeseries_equal_in_data_and_time) {
  writeToFile();
  const OwnedArray series = read(addSeries({5, 6, 7}));
  EXPECT_EQ(vormel::className(series.get()), "timeseries");
  EXPECT_EQ(property(series, "Data"), (Numbers{5, 6, 7}));
  EXPECT_EQ(property(series, "Time"), (Numbers{0, 0.5, 1}));
}

TEST_F(ScratchFileTest, signal_read_twice_gives_two_objects_alike) {
  writeToFile();
  const int32 id = addSeries({5, 6});
  const OwnedArray first = read(id);
  const OwnedArray second = read(id);
  EXPECT_NE(first.get(), second.get());
  EXPECT_TRUE(vormel::equal(first.get(), second.get()));
}

TEST_F(ScratchFileTest, properties_beyond_data_and_time_are_lost) {
  writeToFile();
  OwnedArray series = aTimeseries({1}, {0});
  vrSetProperty_730(series.get(), 0, "Mine", aNumber(1).get());
  const OwnedArray back = read(addInCall(aSignal().inRun(run).withValues(kept(std::move(series)))));
  EXPECT_EQ(vrGetField_730(back.get(), 0, "Mine"), nullptr);
}

TEST_F(ScratchFileTest, read_sets_data_then_time_and_leaves_the_hosts_other_properties) {
  writeToFile();
  const int32 id = addSeries({1});
  const ReplacedFunction timeseries("timeseries", [] {
    OwnedArray object = anObject("timeseries");
    vrSetProperty_730(object.get(), 0, "Kept", aText("by the host").get());
    return object;
  });
  const OwnedArray series = read(id);
  EXPECT_EQ(vormel::fieldNames(series.get()), (std::vector<std::string>{"Kept", "Data", "Time"}));
  EXPECT_EQ(property(series, "Data"), Numbers{1});
}

TEST_F(ScratchFileTest, each_switch_asks_for_the_directory_and_each_read_for_an_object) {
  int directories = 0, objects = 0;
  const ReplacedFunction tempdirCounted("tempdir", [&] { return ++directories, aText(answer); });
  const ReplacedFunction counted("timeseries", [&] { return ++objects, anObject("timeseries"); });
  writeToFile();
  const int32 id = addSeries({1});
  EXPECT_EQ(objects, 0);
  read(id);
  read(id);
  EXPECT_EQ(objects, 2);
  writeToFile();
  EXPECT_EQ(directories, 2);
}

TEST_F(ScratchFileTest, exported_structure_holds_what_the_file_holds) {
  writeToFile();
  const int32 id = addSeries({8, 9});
  const OwnedArray structure =
      call([&] { return owned(exportSignal(store().copyRecordByID(id))); });
  const vrArray* values = vrGetField_730(structure.get(), 0, "DataValues");
  EXPECT_TRUE(vormel::equal(values, read(id).get()));
}

TEST_F(ScratchFileTest, signals_are_told_apart_by_their_ids) {
  writeToFile();
  for (const double value : {1.0, 2.0, 3.0}) addSeries({value});
  EXPECT_EQ(readData(1), Numbers{1});
  EXPECT_EQ(readData(3), Numbers{3});
  EXPECT_EQ(readData(2), Numbers{2});
}

TEST_F(ScratchFileTest, read_leaves_nothing_to_the_end_of_the_call) {
  writeToFile();
  const int32 id = addSeries({1});
  const std::size_t before = vormel::liveArrayCount();
  call([&] {
    owned(readScratchVariable(id));
    EXPECT_EQ(openDescriptors(), 0);
    EXPECT_EQ(vormel::liveArrayCount(), before);
  });
}

TEST_F(ScratchFileTest, failing_timeseries_function_passes) {
  writeToFile();
  const int32 id = addSeries({1});
  const ReplacedFunction failing(
      "timeseries", []() -> vormel::OwnedArray { throw std::runtime_error("timeseries"); });
  EXPECT_THROW(read(id), std::runtime_error);
}

TEST_F(ScratchFileTest, variable_without_a_field_reports_the_id) {
  writeToFile();
  for (const char* name : {"Time", "Data"}) {
    vfFile* file = vfOpen(path.c_str(), "u");
    EXPECT_EQ(vfPutVariable(file, "id7", aStruct({name}).get()), 0);
    vfClose(file);
    expectFailure("NON_EXISTENT", "ID", [&] { read(7); });
  }
}

TEST_F(ScratchFileTest, variable_without_a_field_outranks_a_failing_timeseries_function) {
  writeToFile();
  vfFile* file = vfOpen(path.c_str(), "u");
  EXPECT_EQ(vfPutVariable(file, "id7", aNumber(1).get()), 0);
  vfClose(file);
  const ReplacedFunction failing(
      "timeseries", []() -> vormel::OwnedArray { throw std::runtime_error("timeseries"); });
  expectFailure("NON_EXISTENT", "ID", [&] { read(7); });
}

// ---- Modes and lifetime ----

TEST_F(ScratchFileTest, second_write_to_file_empties_the_file_under_the_store) {
  writeToFile();
  const int32 id = addSeries({1});
  writeToFile();
  expectFailure("NON_EXISTENT", "ID", [&] { read(id); });
  EXPECT_EQ(store().signalCount(), 1);
  EXPECT_EQ(readData(addSeries({2})), Numbers{2});
}

TEST_F(ScratchFileTest, stopped_store_keeps_later_signals_in_memory_and_reads_earlier_ones) {
  writeToFile();
  const int32 first = addSeries({1});
  store().stopWritingToFile();
  const int32 second = addSeries({2});
  EXPECT_EQ(second, first + 1);
  EXPECT_FALSE(store().copyRecordByID(second).isStoredInFile());
  EXPECT_EQ(readData(first), Numbers{1});
}

TEST_F(ScratchFileTest, signal_in_memory_stays_there_when_file_mode_is_turned_on) {
  const int32 id = addSeries({1});
  writeToFile();
  EXPECT_FALSE(store().copyRecordByID(id).isStoredInFile());
  expectFailure("NON_EXISTENT", "ID", [&] { read(id); });
}

TEST_F(ScratchFileTest, removed_signal_leaves_its_variable) {
  writeToFile();
  const int32 id = addSeries({4});
  store().removeSignal(id);
  EXPECT_EQ(readData(id), Numbers{4});
}

TEST_F(ScratchFileTest, removed_run_leaves_its_variables) {
  writeToFile();
  const int32 id = addSeries({4});
  store().removeRun(run);
  EXPECT_EQ(readData(id), Numbers{4});
}

TEST_F(ScratchFileTest, failed_switch_leaves_the_file_before_in_use) {
  writeToFile();
  const int32 id = addSeries({1});
  answer.clear();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { writeToFile(); });
  EXPECT_EQ(readData(addSeries({2})), Numbers{2});
  EXPECT_EQ(readData(id), Numbers{1});
}

TEST_F(ScratchFileTest, signal_of_a_dropped_store_finds_no_file) {
  writeToFile();
  const int32 id = addSeries({1});
  SignalRepository& old = drop();
  expectFailure("FILE_NOT_LOCATED",
                [&] { call([&] { owned(exportSignal(old.copyRecordByID(id))); }); });
}

TEST_F(ScratchFileTest, drop_deletes_the_file_and_keeps_its_name) {
  writeToFile();
  addSeries({1});
  drop();
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(scratchFileName, path);
}

TEST_F(ScratchFileTest, drop_without_the_file_does_no_harm) {
  writeToFile();
  std::filesystem::remove(path);
  drop();
  EXPECT_EQ(store().signalCount(), 0);
}

TEST_F(ScratchFileTest, new_store_makes_the_file_again_and_meets_no_old_variable) {
  writeToFile();
  addSeries({1});
  drop();
  addRun();
  writeToFile();
  expectFailure("NON_EXISTENT", "ID", [&] { read(1); });
  EXPECT_EQ(addSeries({2}), 1);
  EXPECT_EQ(readData(1), Numbers{2});
}

// ---- A file that others deleted or spoiled ----

TEST_F(ScratchFileTest, deleted_file_cannot_be_located_for_a_read) {
  writeToFile();
  const int32 id = addSeries({1});
  std::filesystem::remove(path);
  expectFailure("FILE_NOT_LOCATED", [&] { read(id); });
}

TEST_F(ScratchFileTest, deleted_file_is_not_made_by_a_write) {
  writeToFile();
  std::filesystem::remove(path);
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ScratchFileTest, spoiled_file_cannot_be_located_for_a_read_and_takes_no_write) {
  writeToFile();
  const int32 id = addSeries({1});
  for (const std::uintmax_t size : {std::uintmax_t{10}, std::uintmax_t{0}}) {
    std::filesystem::resize_file(path, size);
    expectFailure("FILE_NOT_LOCATED", [&] { read(id); });
    expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
  }
}

TEST_F(ScratchFileTest, variable_that_cannot_be_written_reports_timeseries) {
  writeToFile();
  const FaultPlan second(FaultSite::FileOperation, 2);  // opens, then writes
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
  EXPECT_STREQ(second.lastFault(), "vfPutVariable");
}

// What ends a thread is no failure of the write, and is not to be held back.
TEST_F(ScratchFileTest, thread_that_ends_in_the_midst_of_a_write_ends) {
  writeToFile();
  const OwnedArray series = aTimeseries({1}, {0});
  bool isThrough = false;
  const std::function<void()> write = [&] {
    const vormel::CallScope hostCall;
    endsThreadAtFileOperation = true;
    writeScratchVariable(series.get(), 1);
    isThrough = true;
  };
  pthread_t thread;
  const auto run = [](void* action) -> void* {
    (*static_cast<const std::function<void()>*>(action))();
    return nullptr;
  };
  void* const action = const_cast<void*>(static_cast<const void*>(&write));
  ASSERT_EQ(pthread_create(&thread, nullptr, run, action), 0);
  pthread_join(thread, nullptr);
  EXPECT_FALSE(isThrough);
  EXPECT_EQ(readData(addSeries({2})), Numbers{2});
}

TEST_F(ScratchFileTest, store_recovers_with_the_next_write_to_file) {
  writeToFile();
  std::filesystem::resize_file(path, 0);
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries({1}); });
  writeToFile();
  EXPECT_EQ(readData(addSeries({2})), Numbers{2});
}

// ---- What a failure leaves to the end of the call ----

TEST_F(ScratchFileTest, read_of_no_variable_leaves_the_file_open_until_the_call_ends) {
  writeToFile();
  call([&] {
    expectFailure("NON_EXISTENT", "ID", [&] { readScratchVariable(5); });
    EXPECT_EQ(openDescriptors(), 1);
  });
  EXPECT_EQ(openDescriptors(), 0);
}

TEST_F(ScratchFileTest, read_of_a_variable_without_fields_leaves_the_file_alone_behind) {
  writeToFile();
  vfFile* file = vfOpen(path.c_str(), "u");
  EXPECT_EQ(vfPutVariable(file, "id7", aNumber(1).get()), 0);
  vfClose(file);
  const std::size_t before = vormel::liveArrayCount();
  call([&] {
    expectFailure("NON_EXISTENT", "ID", [&] { readScratchVariable(7); });
    EXPECT_EQ(openDescriptors(), 1);
    EXPECT_EQ(vormel::liveArrayCount(), before);
  });
  EXPECT_EQ(openDescriptors(), 0);
}

TEST_F(ScratchFileTest, failed_write_leaves_its_structure_until_the_call_ends) {
  writeToFile();
  std::filesystem::remove(path);
  const OwnedArray series = aTimeseries({1}, {0});
  const std::size_t before = vormel::liveArrayCount();
  call([&] {
    expectFailure("INPUT_MISMATCH", "timeseries", [&] { writeScratchVariable(series.get(), 1); });
    EXPECT_GT(vormel::liveArrayCount(), before);
  });
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

// ---- Copies of runs ----

TEST_F(ScratchFileTest, copy_run_in_file_mode_writes_the_copies_under_their_ids) {
  addSeries({1, 2});
  writeToFile();
  const int32 copy = call([&] { return store().copyRun(run, 4); });
  const Data record = store().copyRecordByRunIndex(copy, 1);
  EXPECT_TRUE(record.isStoredInFile());
  EXPECT_EQ(readData(record.getDataID()), (Numbers{1, 2}));
}

TEST_F(ScratchFileTest, copy_run_of_signals_in_the_file_reads_them_back_into_memory) {
  writeToFile();
  addSeries({1, 2});
  store().stopWritingToFile();
  const int32 copy = call([&] { return store().copyRun(run, 4); });
  const Data record = store().copyRecordByRunIndex(copy, 1);
  ASSERT_FALSE(record.isStoredInFile());
  const OwnedArray data = owned(vrGetProperty_730(record.getDataValues().get(), 0, "Data"));
  EXPECT_EQ(numbersOf(data.get()), (Numbers{1, 2}));
}

TEST_F(ScratchFileTest, copy_run_of_signals_in_the_file_writes_them_again_in_file_mode) {
  writeToFile();
  addSeries({1, 2});
  const int32 copy = call([&] { return store().copyRun(run, 4); });
  EXPECT_EQ(readData(store().signalIDByRunIndex(copy, 1)), (Numbers{1, 2}));
}

TEST_F(ScratchFileTest, copy_run_whose_new_run_a_host_function_removes_reports_the_run_id) {
  writeToFile();
  addSeries({1, 2});
  store().stopWritingToFile();
  const ReplacedFunction timeseries("timeseries", [this] {
    store().removeRun(run + 1);
    return aTimeseries({}, {});
  });
  expectFailure("NON_EXISTENT", "Run ID", [&] { call([&] { store().copyRun(run, 4); }); });
}

TEST_F(ScratchFileTest, copy_run_that_fails_to_read_keeps_the_new_run_and_the_copies_so_far) {
  addSeries({1});
  writeToFile();
  const int32 last = addSeries({2});
  store().stopWritingToFile();
  std::filesystem::remove(path);
  const int32 palette = paletteCounter;
  expectFailure("FILE_NOT_LOCATED", [&] { call([&] { store().copyRun(run, 4); }); });
  EXPECT_EQ(idsOfRun(run + 1), IDs{last + 1});
  EXPECT_EQ(lastSignalID, last + 1);
  EXPECT_EQ(paletteCounter, palette + 1);
}

// Reading the values calls the host, which may call back.
TEST_F(ScratchFileTest, copy_run_whose_new_run_goes_away_meanwhile_reports_the_run) {
  writeToFile();
  addSeries({1});
  store().stopWritingToFile();
  const ReplacedFunction series("timeseries", [this] {
    store().removeRun(run + 1);
    return aTimeseries({}, {});
  });
  expectFailure("NON_EXISTENT", "Run ID", [&] { call([&] { store().copyRun(run, 1); }); });
  EXPECT_EQ(store().runCount(), 1);
  EXPECT_EQ(idsOfRun(run), std::vector<int32>{1});
  EXPECT_EQ(store().signalCount(), 1);
}

TEST_F(ScratchFileTest, copy_run_that_fails_to_write_keeps_the_new_run_and_uses_up_an_id) {
  const int32 last = addNoSeries();
  writeToFile();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { call([&] { store().copyRun(run, 4); }); });
  EXPECT_TRUE(store().isValidRunID(run + 1));
  EXPECT_EQ(store().signalCount(run + 1), 0);
  EXPECT_EQ(lastSignalID, last + 1);
}

}  // namespace
}  // namespace kvr::test
