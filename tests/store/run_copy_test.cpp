// Copying a run: deep as to the data, shallow as to what was set after a signal was added.
#include <functional>
#include <stdexcept>

#include "kvrntob/columns/columns.h"
#include "kvrntob/store/data.h"
#include "tests/support/replaced_function.h"
#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using IDs = std::vector<int32>;

class RunCopyTest : public StoreTest {
 protected:
  const int32 source = addRun("source", 3);

  // The copy, in a new run of instance 4, of a run's one signal.
  Data copyOfOne() const { return store().copyRecordByRunIndex(store().copyRun(source, 4), 1); }
};

TEST_F(RunCopyTest, copy_run_of_an_unknown_run_changes_nothing) {
  expectFailure("NON_EXISTENT", "Run ID", [&] { store().copyRun(source + 1, 4); });
  EXPECT_EQ(store().runCount(), 1);
  EXPECT_EQ(store().nextRunID(), source + 1);
}

TEST_F(RunCopyTest, copy_run_of_an_empty_run_gives_an_empty_run_of_the_name) {
  const int32 copy = store().copyRun(source, 4);
  EXPECT_EQ(copy, source + 1);
  EXPECT_EQ(store().runName(copy), "source");
  EXPECT_EQ(store().signalCount(copy), 0);
}

TEST_F(RunCopyTest, copy_run_of_an_empty_run_leaves_the_source_with_an_empty_list) {
  store().copyRun(source, 4);
  expectFailure("NON_EXISTENT", "Index", [&] { store().signalIDByRunIndex(source, 1); });
}

TEST_F(RunCopyTest, copy_run_goes_to_the_instance_asked_for) {
  const int32 copy = store().copyRun(source, 4);
  EXPECT_EQ(store().runIDsOfInstance(4), IDs{copy});
  EXPECT_EQ(store().runIDsOfInstance(3), IDs{source});
}

TEST_F(RunCopyTest, copy_run_takes_a_fresh_version_and_date) {
  const ReplacedFunction version("version", [] { return aText("newer"); });
  const ReplacedFunction now("now", [] { return aNumber(5.5); });
  const int32 copy = store().copyRun(source, 4);
  EXPECT_EQ(store().version(copy), "newer");
  EXPECT_EQ(store().dateCreated(copy), 5.5);
}

TEST_F(RunCopyTest, copy_run_with_a_failing_host_function_makes_no_run) {
  addTo(source);
  const ReplacedFunction now("now",
                             []() -> vormel::OwnedArray { throw std::runtime_error("now"); });
  EXPECT_THROW(store().copyRun(source, 4), std::runtime_error);
  EXPECT_EQ(store().runCount(), 1);
  EXPECT_EQ(store().signalCount(), 1);
}

TEST_F(RunCopyTest, copy_run_gives_new_ids_in_the_order_of_the_source) {
  for (const char* label : {"a", "b", "c"}) add(aSignal().inRun(source).withLabel(label));
  const int32 copy = store().copyRun(source, 4);
  EXPECT_EQ(idsOfRun(copy), (IDs{4, 5, 6}));
  EXPECT_EQ(store().copyRecordByRunIndex(copy, 2).getSignalLabel(), "b");
}

TEST_F(RunCopyTest, copied_signal_belongs_to_the_new_run) {
  addTo(source);
  const Data copy = copyOfOne();
  EXPECT_EQ(copy.getRunID(), source + 1);
  EXPECT_TRUE(store().isValidSignalID(source + 1, copy.getDataID()));
}

TEST_F(RunCopyTest, copied_signal_keeps_strings_numbers_and_lists) {
  add(aSignal().inRun(source).withRootDataSource("root"));
  const Data copy = copyOfOne();
  EXPECT_EQ(copy.getRootSource(), "root source");
  EXPECT_EQ(copy.getTimeSource(), "time source");
  EXPECT_EQ(copy.getDataSource(), "data source");
  EXPECT_EQ(copy.getBlockSource(), "block");
  EXPECT_EQ(copy.getModelSource(), "model");
  EXPECT_EQ(copy.getSignalLabel(), "label");
  EXPECT_EQ(copy.getSID(), "sid");
  EXPECT_EQ(copy.getRootDataSrc(), "root");
  EXPECT_EQ(copy.getTimeDim(), 1);
  EXPECT_EQ(copy.getSampleDims(), (IDs{1, 3}));
  EXPECT_EQ(copy.getPortIndex(), 2);
  EXPECT_EQ(copy.getChannel(), IDs{4});
}

TEST_F(RunCopyTest, copied_signal_has_duplicates_of_both_arrays) {
  const int32 id = addTo(source);
  const Data copy = copyOfOne();
  const Data original = store().copyRecordByID(id);
  EXPECT_NE(copy.getDataValues(), original.getDataValues());
  EXPECT_TRUE(vormel::equal(copy.getDataValues().get(), original.getDataValues().get()));
  EXPECT_NE(copy.getMetaData(), original.getMetaData());
  EXPECT_TRUE(vormel::equal(copy.getMetaData().get(), original.getMetaData().get()));
}

TEST_F(RunCopyTest, copied_signal_shares_no_element_with_the_source) {
  const int32 id =
      add(aSignal().inRun(source).withValues(kept(aRow({1, 2}))).withMetaData(kept(aRow({3, 4}))));
  const Data copy = copyOfOne();
  const Data original = store().copyRecordByID(id);
  const auto elements = [](const vrArray* array) { return vrGetData(array); };
  EXPECT_NE(elements(copy.getDataValues().get()), elements(original.getDataValues().get()));
  EXPECT_NE(elements(copy.getMetaData().get()), elements(original.getMetaData().get()));
}

TEST_F(RunCopyTest, copied_signal_takes_the_next_color_and_is_hidden) {
  const int32 id = addTo(source);
  store().setLineColor(id, 0.1, 0.2, 0.3);
  store().setLineStyle(id, "own");
  store().setVisible(id, true);
  const Data copy = copyOfOne();
  const auto& next = linePalette[static_cast<std::size_t>(paletteCounter) % 16];
  EXPECT_EQ(copy.getLineColor(), (std::vector<double>{next[0], next[1], next[2]}));
  EXPECT_NE(copy.getLineDashed(), "own");
  EXPECT_FALSE(copy.isVisible());
}

TEST_F(RunCopyTest, copied_signal_has_default_settings_though_the_source_had_its_own) {
  const int32 id = addTo(source);
  store().setTolerance(id, toleranceField::absolute, 0.5);
  store().setSyncMethod(id, 2);
  const Data copy = copyOfOne();
  EXPECT_TRUE(copy.isToleranceInherited());
  EXPECT_TRUE(copy.isSyncOptionsInherited());
  EXPECT_EQ(copy.effectiveTolerance(), defaultTolerance);
  EXPECT_EQ(copy.effectiveSyncOptions(), defaultSyncOptions);
}

TEST_F(RunCopyTest, copied_parent_and_child_are_not_linked) {
  const int32 parent = addTo(source);
  add(aSignal().inRun(source).under(parent));
  const int32 copy = store().copyRun(source, 4);
  for (const int32 id : idsOfRun(copy)) {
    EXPECT_FALSE(store().hasParent(id));
    EXPECT_FALSE(store().hasChildren(id));
    EXPECT_EQ(store().parentID(id), 0);
  }
}

TEST_F(RunCopyTest, copied_signal_is_the_one_found_by_source) {
  add(aSignal().inRun(source).withSource("s"));
  const int32 id = copyOfOne().getDataID();
  EXPECT_EQ(store().copyRecordBySource("s").getDataID(), id);
}

TEST_F(RunCopyTest, copied_signal_joins_the_groups_of_the_source) {
  const int32 id = addTo(source);
  const int32 copy = copyOfOne().getDataID();
  EXPECT_EQ(store().groupCount(Column::BlockPath), 1);
  EXPECT_EQ(store().groupIDAt(1, "block", Column::BlockPath), id);
  EXPECT_EQ(store().groupIDAt(2, "block", Column::BlockPath), copy);
}

TEST_F(RunCopyTest, changes_of_a_copy_leave_the_source_alone) {
  const int32 id = addTo(source);
  const Data before = store().copyRecordByID(id);
  const int32 copy = copyOfOne().getDataID();
  store().setLineColor(copy, 0.1, 0.2, 0.3);
  store().setMetaData(copy, kept(aNumber(4)));
  EXPECT_EQ(store().copyRecordByID(id).getLineColor(), before.getLineColor());
  EXPECT_EQ(store().copyRecordByID(id).getMetaData(), before.getMetaData());
}

TEST_F(RunCopyTest, copy_run_leaves_the_source_with_its_signals) {
  addSignals(source, 2);
  store().copyRun(source, 4);
  EXPECT_EQ(idsOfRun(source), (IDs{1, 2}));
}

TEST_F(RunCopyTest, copy_run_into_the_number_of_its_source_takes_the_count_once) {
  store().removeEmptyRun(addRun());  // 2: the next run is 2 again
  store().removeEmptyRun(addRun());
  addSignals(source, 2);
  store().setDateCreated(90, 1.0);
  store().removeEmptyRun(90);  // the next run is 1, the source itself
  const int32 copy = store().copyRun(source, 4);
  EXPECT_EQ(copy, source);
  EXPECT_EQ(idsOfRun(source), (IDs{1, 2, 3, 4}));
}

// ---- Signals in the scratch file: the host function timeseries runs while one is read back ----

class RunCopyInFileTest : public RunCopyTest {
 protected:
  // Copies a run of one signal with an action in the midst of reading it.
  Data copyWhile(const std::function<void()>& action) {
    SignalRepository& copied = store();
    const ReplacedFunction series("timeseries", [&] {
      action();
      return vormel::HostFunctions::instance().callBuiltIn("timeseries");
    });
    const int32 copy = copied.copyRun(source, 4);
    return copied.copyRecordByRunIndex(copy, 1);
  }

  const int32 id = [this] {
    store().writeToFile();
    return add(aSignal().inRun(source).withMetaData(kept(aNumber(3))));
  }();
};

TEST_F(RunCopyInFileTest, signal_that_changes_while_it_is_read_is_copied_as_it_was) {
  store().stopWritingToFile();
  const Data copy = copyWhile([&] { store().setMetaData(id, kept(aNumber(4))); });
  EXPECT_EQ(vrGetScalar(copy.getMetaData().get()), 3);
  EXPECT_EQ(vrGetScalar(store().copyRecordByID(id).getMetaData().get()), 4);
}

TEST_F(RunCopyInFileTest, signal_that_is_removed_while_it_is_read_is_copied_as_it_was) {
  store().stopWritingToFile();
  const Data copy = copyWhile([&] { store().removeSignal(id); });
  EXPECT_EQ(copy.getSignalLabel(), "label");
  EXPECT_EQ(vrGetScalar(copy.getMetaData().get()), 3);
  EXPECT_EQ(store().signalCount(source), 0);
}

TEST_F(RunCopyInFileTest, signal_whose_run_is_removed_while_it_is_read_is_copied_as_it_was) {
  store().stopWritingToFile();
  const Data copy = copyWhile([&] { store().removeRun(source); });
  EXPECT_EQ(copy.getSignalLabel(), "label");
  EXPECT_FALSE(store().isValidRunID(source));
}

TEST_F(RunCopyInFileTest, store_that_is_dropped_while_a_signal_is_read_holds_the_copy) {
  store().stopWritingToFile();
  SignalRepository* dropped = nullptr;
  const Data copy = copyWhile([&] { dropped = &drop(); });
  EXPECT_EQ(copy.getSignalLabel(), "label");
  EXPECT_EQ(dropped->signalCount(copy.getRunID()), 1);
  EXPECT_EQ(store().signalCount(), 0);
}

}  // namespace
}  // namespace kvr::test
