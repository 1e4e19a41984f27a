// What belongs to the process and not to a store: counters and palette. Each test runs in a process
// of its own.
#include <array>
#include <filesystem>
#include <fstream>

#include "kvrntob/store/data.h"
#include "kvrntob/store/scratch_file.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

// A plain fixture: nothing is dropped before the test.
class ProcessState : public testing::Test {
 protected:
  static SignalRepository& store() { return *SignalRepository::getInstance(); }

  // Adds `count` signals to a run of their own; the record of the last.
  static Data addSignals(int count) {
    const int32 run = store().createEmptyRun("run", 1);
    int32 last = 0;
    for (int i = 0; i < count; ++i) last = aSignal().inRun(run).addTo(store());
    return store().copyRecordByID(last);
  }
};

TEST_F(ProcessState, counters_start_before_the_first_id) {
  EXPECT_EQ(lastSignalID, 0);
  EXPECT_EQ(lastRunID, 0);
  EXPECT_EQ(paletteCounter, -1);
}

TEST_F(ProcessState, scratch_file_name_starts_as_one_blank) { EXPECT_EQ(scratchFileName, " "); }

TEST_F(ProcessState, first_signal_has_id_1_in_run_1) {
  const Data record = addSignals(1);
  EXPECT_EQ(record.getDataID(), 1);
  EXPECT_EQ(record.getRunID(), 1);
}

TEST_F(ProcessState, first_signal_is_solid_black) {
  const Data record = addSignals(1);
  EXPECT_EQ(record.getLineColor(), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(record.getLineDashed(), "-");
}

TEST_F(ProcessState, seventeenth_signal_is_dashed_black) {
  const Data record = addSignals(17);
  EXPECT_EQ(record.getLineColor(), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(record.getLineDashed(), "--");
}

TEST_F(ProcessState, sixty_fifth_signal_is_solid_black_again) {
  const Data record = addSignals(65);
  EXPECT_EQ(record.getLineColor(), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(record.getLineDashed(), "-");
}

TEST_F(ProcessState, sixteen_signals_take_the_colors_in_their_order) {
  const std::vector<std::vector<double>> colors{
      {0, 0, 0},   {1, 0, 0},     {0, 1, 0},       {1, 1, 0},       {1, 0, 1}, {0, 0, 1},
      {1, 0.5, 0}, {0.5, 0, 1},   {0.5, 0.5, 0.5}, {0.5, 0.25, 0},  {0, 1, 1}, {0.75, 0.75, 0.75},
      {0, 0, 0.5}, {0, 0.5, 0.5}, {0, 0, 0.5},     {0.2, 0.81, 0.2}};
  for (const auto& color : colors) EXPECT_EQ(addSignals(1).getLineColor(), color);
}

TEST_F(ProcessState, sixty_four_signals_take_the_styles_sixteen_at_a_time) {
  for (const char* style : {"-", "--", ":", "-."}) {
    EXPECT_EQ(addSignals(1).getLineDashed(), style);
    EXPECT_EQ(addSignals(15).getLineDashed(), style);
  }
}

TEST_F(ProcessState, palette_goes_on_in_a_new_store) {
  addSignals(1);
  const std::unique_ptr<SignalRepository> old(&store());  // frees what drop() does not
  SignalRepository::drop();
  EXPECT_EQ(addSignals(1).getLineColor(), (std::vector<double>{1, 0, 0}));
}

TEST_F(ProcessState, palette_goes_on_after_a_removal) {
  store().removeSignal(addSignals(1).getDataID());
  EXPECT_EQ(addSignals(1).getLineColor(), (std::vector<double>{1, 0, 0}));
}

TEST_F(ProcessState, palette_step_is_lost_with_a_failed_signal) {
  const int32 run = store().createEmptyRun("run", 1);
  expectFailure("NON_EXISTENT", "ID", [&] { aSignal().inRun(run).under(99).addTo(store()); });
  EXPECT_EQ(addSignals(1).getLineColor(), (std::vector<double>{1, 0, 0}));
}

// The name of the scratch file before there is one.
TEST_F(ProcessState, drop_deletes_a_file_named_by_one_blank) {
  const ScratchDirectory directory;
  std::filesystem::current_path(directory.path());
  std::ofstream(" ").put('x');
  SignalRepository::drop();
  EXPECT_FALSE(std::filesystem::exists(" "));
}

TEST_F(ProcessState, drop_before_the_first_store_does_no_harm) {
  SignalRepository::drop();
  EXPECT_EQ(addSignals(1).getDataID(), 1);
}

}  // namespace
}  // namespace kvr::test
