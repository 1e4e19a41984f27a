// Methods that set and read what a plot needs of a signal, and its metadata.
#include <limits>

#include "tests/binding/repository_test.h"
#include "tests/binding/setting_methods.h"
#include "tests/binding/store_state.h"

namespace kvr::test {
namespace {

class DisplayMethods : public RepositoryTest {
 protected:
  DisplayMethods() { addSignals(run, 2); }

  bool isVisible(int32 id) const { return call("getVisibility", {id}).toBool(); }
  std::vector<double> colorOf(int32 id) const {
    return call("getSignal", {id}).field("LineColor").toDoubles();
  }

  const int32 run = addRun();
};

// ---- Visibility ----

TEST_F(DisplayMethods, new_signal_is_hidden_and_that_is_a_logical_scalar) {
  expectArray(call("getVisibility", {1}), vrLOGICAL_CLASS, {1, 1});
  EXPECT_FALSE(isVisible(1));
}

TEST_F(DisplayMethods, visibility_by_id_is_the_flag) {
  call("setVisibility", {1, true});
  EXPECT_TRUE(isVisible(1));
  EXPECT_FALSE(isVisible(2));
  call("setVisibility", {1, false});
  EXPECT_FALSE(isVisible(1));
}

// Required: the index is read in place of the flag.
TEST_F(DisplayMethods, visibility_by_run_and_index_is_true_whatever_the_flag_says) {
  for (const bool flag : {false, true}) {
    call("setVisibility", {2, false});
    call("setVisibility", {run, 2, flag});
    EXPECT_TRUE(isVisible(2));
  }
  EXPECT_FALSE(isVisible(1));
}

TEST_F(DisplayMethods, visibility_by_run_and_index_does_not_look_at_the_number_of_the_run) {
  call("setDateCreated", {0, 1.5});  // makes run 0
  const int32 id = addTo(0);
  call("setVisibility", {0, 1, false});
  EXPECT_TRUE(isVisible(id));
}

TEST_F(DisplayMethods, visibility_by_run_and_index_still_tests_the_flag) {
  const UnchangedStore unchanged;
  expectFailure("NOT_LOGICAL_SCALAR", "Visibility", [&] { call("setVisibility", {run, 1, 1}); });
}

TEST_F(DisplayMethods, visibility_wants_a_logical_and_no_number) {
  const UnchangedStore unchanged;
  expectFailure("NOT_LOGICAL_SCALAR", "Visibility", [&] { call("setVisibility", {1, 1}); });
  expectFailure("NOT_LOGICAL_SCALAR", "Visibility", [&] { call("setVisibility", {1, 1.0}); });
}

// ---- Line colour and style ----

TEST_F(DisplayMethods, color_replaces_all_three_components) {
  call("setLineColor", {1, 1.0, 0.0, 0.5});
  EXPECT_EQ(colorOf(1), (std::vector<double>{1, 0, 0.5}));
  call("setLineColor", {1, 0, 1, true});
  EXPECT_EQ(colorOf(1), (std::vector<double>{0, 1, 1}));
}

TEST_F(DisplayMethods, component_outside_0_to_1_reports_invalid_color_and_changes_nothing) {
  const UnchangedStore unchanged;
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {1.0000001, -0.1, -1e-300, 2.0, infinity, -infinity}) {
    expectFailure("INVALID_COLOR", [&] { call("setLineColor", {1, bad, 0.5, 0.5}); });
    expectFailure("INVALID_COLOR", [&] { call("setLineColor", {1, 0.5, bad, 0.5}); });
    expectFailure("INVALID_COLOR", [&] { call("setLineColor", {1, 0.5, 0.5, bad}); });
  }
}

TEST_F(DisplayMethods, component_that_is_no_number_passes) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  call("setLineColor", {1, nan, 0.25, nan});
  const std::vector<double> color = colorOf(1);
  EXPECT_TRUE(color[0] != color[0]);
  EXPECT_EQ(color[1], 0.25);
  EXPECT_TRUE(color[2] != color[2]);
}

TEST_F(DisplayMethods, unknown_signal_outranks_a_bad_color) {
  const UnchangedStore unchanged;
  for (const int32 unknown : {0, -1, 3}) {
    expectFailure("NON_EXISTENT", "ID", [&] { call("setLineColor", {unknown, 2.0, 2.0, 2.0}); });
    expectFailure("NON_EXISTENT", "ID", [&] { call("setLineStyle", {unknown, "--"}); });
  }
}

TEST_F(DisplayMethods, style_may_be_any_text) {
  for (const char* style : {"-", "--", ":", "-.", "none of these", "", "Größe"}) {
    call("setLineStyle", {1, style});
    EXPECT_EQ(call("getSignal", {1}).field("LineDashed").toString(), style);
  }
}

TEST_F(DisplayMethods, fixed_methods_leave_the_output_count_and_ignore_surplus_inputs) {
  for (const int count : {0, 1, 2}) {
    EXPECT_EQ(invoke("setLineColor", count, {1, 0.5, 0.5, 0.5, 9.0}).count, count);
    EXPECT_EQ(invoke("setLineStyle", count, {1, "--", "more"}).count, count);
  }
  EXPECT_EQ(call("getSignal", {1}).field("LineDashed").toString(), "--");
}

// ---- Metadata ----

TEST_F(DisplayMethods, metadata_may_be_any_array) {
  for (const auto& any : {half, someText, emptyCell, fieldlessStruct, point, noInt32, truth}) {
    const OwnedArray given = any();
    call("setMetaData", {1, given});
    EXPECT_TRUE(vormel::equal(call("getSignal", {1}).field("MetaData").array(), given.get()));
    call("setMetaData", {run, 2, given});
    EXPECT_TRUE(vormel::equal(call("getSignal", {2}).field("MetaData").array(), given.get()));
  }
}

TEST_F(DisplayMethods, metadata_shares_its_elements_until_the_giver_writes) {
  const OwnedArray given = aRow({1, 2, 3});
  call("setMetaData", {1, given});
  const auto stored = [&] { return call("getSignal", {1}).field("MetaData"); };
  EXPECT_EQ(vrGetData(stored().array()), vrGetData(static_cast<const vrArray*>(given.get())));
  static_cast<double*>(vrGetData(given.get()))[0] = 9;
  EXPECT_EQ(stored().toDoubles(), (std::vector<double>{1, 2, 3}));
}

TEST_F(DisplayMethods, metadata_may_hold_the_repository_itself) {
  call("setMetaData", {1, repository});
  EXPECT_EQ(call("getSignal", {1}).field("MetaData").className(), "handle");
}

TEST_F(DisplayMethods, metadata_that_is_replaced_is_released) {
  const LiveArraysGuard live;
  for (int i = 0; i < 10; ++i) call("setMetaData", {1, aRow({1, 2})});
}

TEST_F(DisplayMethods, metadata_for_an_unknown_signal_is_released) {
  const UnchangedStore unchanged;
  const LiveArraysGuard live;
  const OwnedArray given = aRow({1, 2});
  expectFailure("NON_EXISTENT", "ID", [&] { call("setMetaData", {99, given}); });
  expectFailure("NON_EXISTENT", "Run ID", [&] { call("setMetaData", {99, 1, given}); });
}

}  // namespace
}  // namespace kvr::test
