// Visibility, line colour and style, metadata.
#include <cmath>
#include <limits>

#include "tests/support/store_test.h"

namespace kvr::test {
namespace {

using Color = std::vector<double>;

class DisplayTest : public SignalTest {
 protected:
  Color color() const { return store().copyRecordByID(id).getLineColor(); }
};

TEST_F(DisplayTest, new_signal_is_hidden_until_it_is_shown) {
  EXPECT_FALSE(store().isVisible(id));
  store().setVisible(id, true);
  EXPECT_TRUE(store().isVisible(id));
  store().setVisible(id, false);
  EXPECT_FALSE(store().isVisible(id));
}

TEST_F(DisplayTest, set_line_color_replaces_the_three_components) {
  store().setLineColor(id, 0.25, 0.5, 0.75);
  EXPECT_EQ(color(), (Color{0.25, 0.5, 0.75}));
}

TEST_F(DisplayTest, set_line_color_accepts_both_bounds) {
  store().setLineColor(id, 0, 1, 0);
  EXPECT_EQ(color(), (Color{0, 1, 0}));
}

TEST_F(DisplayTest, set_line_color_beyond_a_bound_is_refused_and_changes_nothing) {
  const Color before = color();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {-0.1, 1.0000001, infinity, -infinity, std::nextafter(0.0, -1.0)}) {
    expectFailure("INVALID_COLOR", [&] { store().setLineColor(id, bad, 0.5, 0.5); });
    expectFailure("INVALID_COLOR", [&] { store().setLineColor(id, 0.5, bad, 0.5); });
    expectFailure("INVALID_COLOR", [&] { store().setLineColor(id, 0.5, 0.5, bad); });
  }
  EXPECT_EQ(color(), before);
}

TEST_F(DisplayTest, set_line_color_lets_nan_pass) {
  const double nan = std::nan("");
  store().setLineColor(id, nan, nan, 1);
  EXPECT_TRUE(std::isnan(color()[0]));
  EXPECT_TRUE(std::isnan(color()[1]));
}

TEST_F(DisplayTest, set_line_color_with_one_nan_still_tests_the_others) {
  expectFailure("INVALID_COLOR", [&] { store().setLineColor(id, std::nan(""), 0.5, 2); });
}

TEST_F(DisplayTest, set_line_color_of_an_unknown_signal_outranks_a_bad_color) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().setLineColor(id + 1, 2, 0, 0); });
}

TEST_F(DisplayTest, set_line_style_keeps_any_text) {
  for (const char* style : {"-.", "wavy", ""}) {
    store().setLineStyle(id, style);
    EXPECT_EQ(store().copyRecordByID(id).getLineDashed(), style);
  }
}

TEST_F(DisplayTest, set_meta_data_replaces_and_releases_the_former_owner) {
  const std::size_t before = vormel::liveArrayCount();
  store().setMetaData(id, kept(aNumber(6)));
  EXPECT_EQ(vrGetScalar(store().copyRecordByID(id).getMetaData().get()), 6);
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

TEST_F(DisplayTest, set_meta_data_leaves_the_former_array_to_a_snapshot) {
  store().setMetaData(id, kept(aNumber(6)));
  const Data snapshot = store().copyRecordByID(id);
  store().setMetaData(id, kept(aNumber(7)));
  EXPECT_EQ(vrGetScalar(snapshot.getMetaData().get()), 6);
}

TEST_F(DisplayTest, set_meta_data_of_an_unknown_signal_releases_what_came) {
  const std::size_t before = vormel::liveArrayCount();
  expectFailure("NON_EXISTENT", "ID", [&] { store().setMetaData(id + 1, kept(aNumber(6))); });
  EXPECT_EQ(vormel::liveArrayCount(), before);
}

TEST_F(DisplayTest, attributes_of_an_unknown_signal_report_the_id) {
  expectFailure("NON_EXISTENT", "ID", [&] { store().isVisible(id + 1); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setVisible(id + 1, true); });
  expectFailure("NON_EXISTENT", "ID", [&] { store().setLineStyle(id + 1, "-"); });
}

}  // namespace
}  // namespace kvr::test
