// writeToFile and stopWritingToFile, and what adding, reading and clean do with the scratch file.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "embedded_host/files/file_status.h"
#include "kvrntob/store/scratch_file.h"
#include "tests/binding/add_inputs.h"
#include "tests/binding/repository_test.h"
#include "tests/support/largest_file.h"
#include "tests/support/replaced_function.h"

namespace kvr::test {
namespace {

// With a directory of the test's own for the scratch file.
class FileMode : public RepositoryTest {
 protected:
  ~FileMode() override {
    kvr::scratchFileName = " ";
    std::filesystem::remove_all(folder);
  }

  static std::filesystem::path makeFolder() {
    std::string name = testing::TempDir() + "file_mode.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    return name;
  }
  int32 addSeries() const { return callWithArrays("add", AddInputs(1).arrays()).toInt32(); }

  const std::filesystem::path folder = makeFolder();
  std::string answer = folder.string() + "/";
  const ReplacedFunction tempdir{"tempdir", [this] { return aText(answer); }};
};

TEST_F(FileMode, scratch_file_is_named_by_the_directory_and_a_fixed_name) {
  call("writeToFile");
  EXPECT_EQ(kvr::scratchFileName, folder.string() + "/KVR.vdf");
}

TEST_F(FileMode, directory_without_a_separator_runs_on_into_the_file_name) {
  answer = folder.string() + "/part";
  call("writeToFile");
  EXPECT_EQ(kvr::scratchFileName, folder.string() + "/partKVR.vdf");
}

TEST_F(FileMode, empty_directory_reports_timeseries_and_leaves_the_mode_on) {
  answer = "";
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { call("writeToFile"); });
  EXPECT_EQ(kvr::scratchFileName, " ");
  const int32 run = addRun();
  expectFailure("INPUT_MISMATCH", "timeseries",
                [&] { callWithArrays("add", AddInputs(run).arrays()); });
  call("stopWritingToFile");
  EXPECT_NO_THROW(callWithArrays("add", AddInputs(run).arrays()));
}

TEST_F(FileMode, values_that_are_no_timeseries_report_it_and_use_up_an_id) {
  call("writeToFile");
  const int32 run = addRun();
  const AddInputs inputs = AddInputs(run).with(AddInputs::Values, aNumber(1));
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { callWithArrays("add", inputs.arrays()); });
  EXPECT_EQ(store().signalCount(), 0);
  call("stopWritingToFile");
  EXPECT_EQ(callWithArrays("add", AddInputs(run).arrays()).toInt32(), 2);
}

TEST_F(FileMode, of_run_values_and_parent_the_earlier_fault_is_reported) {
  call("writeToFile");
  const int32 run = addRun();
  AddInputs inputs(run + 1);
  inputs.with(AddInputs::Values, aNumber(1)).with(AddInputs::Parent, anInt32(99));
  expectFailure("NON_EXISTENT", "Run ID", [&] { callWithArrays("add", inputs.arrays()); });
  inputs.with(AddInputs::Run, anInt32(run));
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { callWithArrays("add", inputs.arrays()); });
  EXPECT_EQ(lastSignalID, 1) << "used up by the values alone";
}

TEST_F(FileMode, clean_deletes_the_scratch_file_and_keeps_its_name) {
  call("writeToFile");
  std::ofstream(kvr::scratchFileName).put('x');
  clean(repository);
  EXPECT_FALSE(std::filesystem::exists(folder / "KVR.vdf"));
  EXPECT_EQ(kvr::scratchFileName, folder.string() + "/KVR.vdf");
}

TEST_F(FileMode, store_after_clean_keeps_values_in_memory) {
  call("writeToFile");
  clean(repository);
  repository = construct();
  const int32 id = addTo(addRun());
  EXPECT_FALSE(store().copyRecordByID(id).isStoredInFile());
}

TEST_F(FileMode, clean_without_a_scratch_file_succeeds) { EXPECT_NO_THROW(clean(repository)); }

TEST_F(FileMode, switching_leaves_the_output_count_alone_and_writes_nothing) {
  for (const char* method : {"writeToFile", "stopWritingToFile"})
    for (const int count : {0, 1, 2}) {
      const CallResult result = invoke(method, count);
      EXPECT_EQ(result.count, count) << method;
      EXPECT_TRUE(result.cells.at(0).isNothing()) << method;
    }
}

// ---- Reading back ----

class SignalInFile : public FileMode {
 protected:
  SignalInFile() {
    addRun();
    call("writeToFile");
    addSeries();
  }
};

TEST_F(SignalInFile, comes_out_with_the_19_fields_of_one_in_memory) {
  const Value fromFile = call("getSignal", {1});
  call("stopWritingToFile");
  const Value fromMemory = call("getSignal", {addSeries()});
  EXPECT_EQ(fromFile.fieldNames(), fromMemory.fieldNames());
  for (const char* field : {"RootSource", "SampleDims", "Channel", "MetaData", "rootDataSrc"})
    EXPECT_TRUE(vormel::equal(fromFile.field(field).array(), fromMemory.field(field).array()));
}

TEST_F(SignalInFile, values_are_a_new_timeseries_of_data_and_time_at_each_read) {
  const Value first = call("getSignal", {1}).field("DataValues");
  const Value second = call("getSignalByRunIndex", {1, 1}).field("DataValues");
  expectArray(first, vrOBJECT_CLASS, {1, 1});
  EXPECT_EQ(first.className(), "timeseries");
  EXPECT_EQ(first.field("Data").toDoubles(), (std::vector<double>{5, 6}));
  EXPECT_EQ(first.field("Time").toDoubles(), (std::vector<double>{0, 1}));
  EXPECT_TRUE(vormel::equal(first.array(), second.array()));
}

TEST_F(SignalInFile, comes_out_as_it_was_before_a_host_function_changed_it) {
  const auto style = [&] { return call("getSignal", {1}).field("LineDashed").toString(); };
  const std::string before = style();
  const ReplacedFunction timeseries("timeseries", [] {
    store().setLineStyle(1, "changed");
    return anObject("timeseries");
  });
  EXPECT_EQ(style(), before);
  EXPECT_EQ(style(), "changed");
}

TEST_F(SignalInFile, second_switch_empties_the_file_and_the_read_reports_id) {
  call("writeToFile");
  expectFailure("NON_EXISTENT", "ID", [&] { call("getSignal", {1}); });
  expectFailure("NON_EXISTENT", "ID", [&] { call("getSignalByRunIndex", {1, 1}); });
}

TEST_F(SignalInFile, file_that_is_gone_reports_file_not_located) {
  std::filesystem::remove(folder / "KVR.vdf");
  expectFailure("FILE_NOT_LOCATED", [&] { call("getSignal", {"data source"}); });
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries(); });
}

TEST_F(SignalInFile, stays_readable_when_later_ones_are_kept_in_memory) {
  call("stopWritingToFile");
  EXPECT_EQ(addSeries(), 2);
  for (const int32 id : {1, 2})
    EXPECT_EQ(call("getSignal", {id}).field("DataValues").field("Data").toDoubles(),
              (std::vector<double>{5, 6}));
  EXPECT_TRUE(store().copyRecordByID(1).isStoredInFile());
  EXPECT_FALSE(store().copyRecordByID(2).isStoredInFile());
}

TEST_F(SignalInFile, unknown_parent_reports_id_and_uses_up_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] {
    callWithArrays("add", AddInputs(1).with(AddInputs::Parent, anInt32(99)).arrays());
  });
  EXPECT_EQ(addSeries(), 3);
}

// ---- A full disk ----

class SignalOnAFullDisk : public SignalInFile {
 protected:
  // No file may grow beyond what the scratch file holds by now.
  const std::size_t size = std::filesystem::file_size(kvr::scratchFileName);
  std::optional<LargestFile> disk{std::in_place, size};
};

TEST_F(SignalOnAFullDisk, is_not_stored_reports_timeseries_and_uses_up_an_id) {
  const std::size_t arrays = vormel::liveArrayCount();
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries(); });
  EXPECT_EQ(vormel::liveArrayCount(), arrays);
  EXPECT_EQ(vormel::openFileCount(), 0U);
  EXPECT_EQ(store().signalCount(), 1);
  EXPECT_EQ(store().signalCount(1), 1);
  disk.reset();
  EXPECT_EQ(addSeries(), 3);
}

TEST_F(SignalOnAFullDisk, leaves_the_signals_before_it_readable) {
  EXPECT_ANY_THROW(addSeries());
  const Value series = call("getSignal", {1}).field("DataValues");
  EXPECT_EQ(series.field("Data").toDoubles(), (std::vector<double>{5, 6}));
  EXPECT_EQ(series.field("Time").toDoubles(), (std::vector<double>{0, 1}));
}

TEST_F(SignalOnAFullDisk, copied_with_its_run_stops_the_copy_behind_the_new_run) {
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { call("copyRun", {1, 1}); });
  EXPECT_EQ(store().runCount(), 2);
  EXPECT_EQ(store().signalCount(2), 0);
  EXPECT_EQ(store().signalCount(1), 1);
}

// Nobody asks whether the file could be made.
TEST_F(SignalOnAFullDisk, is_gone_when_the_file_is_made_anew) {
  disk.emplace(0);
  EXPECT_NO_THROW(call("writeToFile"));
  expectFailure("FILE_NOT_LOCATED", [&] { call("getSignal", {1}); });
  expectFailure("INPUT_MISMATCH", "timeseries", [&] { addSeries(); });
  disk.reset();
  call("writeToFile");
  expectFailure("NON_EXISTENT", "ID", [&] { call("getSignal", {1}); });
  EXPECT_EQ(addSeries(), 3);
}

}  // namespace
}  // namespace kvr::test
